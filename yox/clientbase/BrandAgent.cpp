#include "yox/clientbase/BrandAgent.h"

#include <algorithm>
#include <array>

#include "yox/base/String.h"
#include "yox/clientbase/SubBrandAgent.h"

using namespace yox::literals;
using YOX::String;
using yox::WString;
using yox::WStringView;

namespace {

enum class Source { kSku, kFamily, kManufacturer, kCount };
using Texts = std::array<WStringView, static_cast<std::size_t>(Source::kCount)>;

WStringView FirstWord(WStringView text, WStringView) {
  return text.substr(0, text.find_first_of(String::kWhiteSpace));
}

WStringView BehindFirstWord(WStringView text, WStringView) {
  return text.substr(FirstWord(text, {}).size());
}

// The text between a mark and the next separator of fields: "...;Name=Falcon 14;..." and
// "..._BU_Falcon_FM_...".
WStringView Field(WStringView text, WStringView mark) {
  const std::size_t at = text.find(mark);
  if (at == WStringView::npos) return {};
  const WStringView field = text.substr(at + mark.size());
  return field.substr(0, field.find_first_of("_;"_wv));
}

WStringView FirstWordOfField(WStringView text, WStringView mark) {
  return FirstWord(Field(text, mark), {});
}

WStringView BehindFirstWordOfField(WStringView text, WStringView mark) {
  return BehindFirstWord(Field(text, mark), {});
}

// "Contoso" of "Contoso Computer Co., Ltd."
WStringView WithoutLegalForm(WStringView text, WStringView) {
  constexpr std::array kForms = {
      "inc"_wv, "inc."_wv, "corp"_wv,     "corp."_wv,     "corporation"_wv,   "co"_wv,
      "co."_wv, "ltd"_wv,  "ltd."_wv,     "limited"_wv,   "llc"_wv,           "gmbh"_wv,
      "ag"_wv,  "s.a."_wv, "computer"_wv, "computers"_wv, "international"_wv,
  };
  for (;;) {
    text = String::Trimmed(text, " ,\t"_wv);
    const std::size_t blank = text.find_last_of(" ,"_wv);
    if (blank == WStringView::npos) return text;
    const WStringView last = text.substr(blank + 1);
    if (std::ranges::none_of(
            kForms, [&](WStringView form) { return String::CaseInsesitiveEqual(form, last); })) {
      return text;
    }
    text = text.substr(0, blank);
  }
}

struct Rule {
  Source source;
  WStringView (*read)(WStringView text, WStringView mark);
  WStringView mark;
};

// The first rule that gives a text decides.
constexpr Rule kBrandRules[] = {
    {Source::kSku, Field, "_BU_"_wv},
    {Source::kFamily, FirstWord, {}},
    {Source::kSku, FirstWordOfField, "ModelName="_wv},
    {Source::kManufacturer, WithoutLegalForm, {}},
};
constexpr Rule kSubBrandRules[] = {
    {Source::kSku, Field, "_FM_"_wv},
    {Source::kFamily, BehindFirstWord, {}},
    {Source::kSku, BehindFirstWordOfField, "ModelName="_wv},
};

template <std::size_t kSize>
WString Decide(const Rule (&rules)[kSize], const Texts& texts) {
  for (const Rule& rule : rules) {
    const WStringView text = texts[static_cast<std::size_t>(rule.source)];
    const WStringView read = String::Trimmed(rule.read(String::Trimmed(text), rule.mark));
    if (!read.empty()) return WString(read);
  }
  return {};
}

}  // namespace

WString BrandAgent::GetBrand(const WString& sku, const WString& family,
                             const WString& manufacturer) {
  return Decide(kBrandRules, {sku, family, manufacturer});
}

WString SubBrandAgent::GetSubBrand(const WString& sku, const WString& family) {
  return Decide(kSubBrandRules, {sku, family, {}});
}
