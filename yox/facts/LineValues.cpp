#include "yox/facts/LineValues.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "yox/base/SaltedHash.h"
#include "yox/base/String.h"
#include "yox/base/Utf8.h"
#include "yox/decision/Dates.h"

namespace yox::facts {
namespace {

using decision::BucketFact;
using decision::Fact;
using decision::FilterField;
using decision::Knowledge;
using decision::PairsFact;
using decision::PairView;
using decision::RegistryFact;
using decision::TextFact;
using decision::VersionFact;

constexpr std::string_view kOs = "Windows";  // decision::kOsText
constexpr std::size_t kMostZones = 4096;

constexpr std::uint32_t kFirmwareTexts = [] {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < decision::kFacts.size(); ++i) {
    if (decision::kFacts[i].form != decision::FactForm::kFirmwareText) continue;
    bits |= std::uint32_t{1} << static_cast<unsigned>(decision::FieldOf(static_cast<Fact>(i)));
  }
  return bits;
}();

WChar FoldAscii(WChar unit) {
  const auto value = static_cast<std::uint16_t>(unit);
  const bool capital = static_cast<std::uint16_t>(value - 'A') < 26;
  return static_cast<WChar>(value | (capital ? 0x20 : 0));
}

// Four bytes of ASCII as four units in a word, and such units with their letter case folded.
constexpr std::uint64_t FourUnits(std::uint32_t bytes) {
  std::uint64_t units = bytes;
  units = (units | units << 16) & 0x0000FFFF0000FFFFU;
  return (units | units << 8) & 0x00FF00FF00FF00FFU;
}
constexpr std::uint64_t FoldFour(std::uint64_t units) {
  constexpr std::uint64_t kOnes = 0x0001000100010001U;
  // Their bit 0x80: whether a unit is 'A' or more, and whether it is more than 'Z'.
  const std::uint64_t from_a = units + (0x80 - 'A') * kOnes;
  const std::uint64_t after_z = units + (0x7F - 'Z') * kOnes;
  return units | (from_a & ~after_z & 0x80 * kOnes) >> 2;
}

// Calls visit(at, given, folded) for four units at a time that cover a text of ASCII, of which the
// last ones may overlap those before, or for single units of a shorter text. Returns false for
// another text, which is visited as well.
template <class Visit>
bool VisitAscii(std::string_view utf8, Visit visit) {
  std::uint32_t all = 0;
  const auto visit_four = [&](std::size_t at) {
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, utf8.data() + at, sizeof bytes);
    all |= bytes;
    const std::uint64_t units = FourUnits(bytes);
    visit(at, units, FoldFour(units));
  };
  if (utf8.size() >= 4) {
    for (std::size_t at = 0; at + 4 < utf8.size(); at += 4) visit_four(at);
    visit_four(utf8.size() - 4);
  } else {
    for (std::size_t at = 0; at < utf8.size(); ++at) {
      const auto byte = static_cast<unsigned char>(utf8[at]);
      all |= byte;
      visit(at, WChar{byte}, FoldAscii(byte));
    }
  }
  return (all & 0x80808080U) == 0;
}

// IsFoldedAscii of texts whose ends are the same. Few come here.
[[gnu::noinline]] std::optional<bool> IsFoldedAsciiWithin(std::string_view utf8,
                                                          WStringView folded) {
  const bool has_its_size = utf8.size() == folded.size();
  bool differs = !has_its_size;
  const auto compare = [&](std::size_t at, auto /*given*/, auto units) {
    if (!has_its_size) return;
    decltype(units) other;
    std::memcpy(&other, folded.data() + at, sizeof other);
    differs |= units != other;
  };
  if (!VisitAscii(utf8, compare)) return std::nullopt;
  return !differs;
}

// Whether a text is `folded` when its letter case is folded; std::nullopt when only its conversion
// shows that.
std::optional<bool> IsFoldedAscii(std::string_view utf8, WStringView folded) {
  if (utf8.size() < folded.size()) return false;  // no text has more units than bytes
  // Most texts differ in a unit at one of the ends, which a byte of ASCII is alone.
  const auto differs = [](char byte, WChar unit) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x80 && FoldAscii(value) != unit;
  };
  if (!folded.empty() &&
      (differs(utf8.front(), folded.front()) || differs(utf8.back(), folded.back()))) {
    return false;
  }
  return IsFoldedAsciiWithin(utf8, folded);
}

// Whether a text begins and ends with something else than white space, for certain.
bool IsTrimmedAscii(std::string_view utf8) {
  const auto is_ink = [](char byte) { return byte > ' ' && byte < 0x7F; };
  return !utf8.empty() && is_ink(utf8.front()) && is_ink(utf8.back());
}

}  // namespace

WChar* TextScratch::TakeOfAnotherBlock(std::size_t size) {
  if (size > kBlock) return large_.emplace_back(new WChar[size]).get();
  if (used_blocks_ == blocks_.size()) blocks_.emplace_back(new WChar[kBlock]);
  WChar* const block = blocks_[used_blocks_++].get();
  left_ = kBlock - size;
  next_ = block + size;
  return block;
}

void TextScratch::Clear() {
  large_.clear();
  used_blocks_ = 0;
  left_ = 0;
}

TextScratch::Texts TextScratch::Widen(std::string_view utf8) {
  // No text has more units than bytes.
  WChar* const given = Take(2 * utf8.size());
  WChar* const folded = given + utf8.size();
  std::size_t size = utf8.size();
  const bool is_ascii = VisitAscii(utf8, [&](std::size_t at, auto units, auto folded_units) {
    std::memcpy(given + at, &units, sizeof units);
    std::memcpy(folded + at, &folded_units, sizeof folded_units);
  });
  if (!is_ascii) {
    const WString wide = String::UTF8ToUTF16(utf8);
    size = wide.size();
    std::ranges::copy(wide, given);
    std::ranges::transform(wide, folded, String::FoldCase);
  }
  return {given, static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(utf8.size())};
}

std::optional<PairView> LinePairs::First(const decision::TextPattern& name,
                                         const decision::Pairs& except) const {
  for (Entry& entry : entries_) {
    std::optional<bool> matches;
    if (name.IsText() && IsTrimmedAscii(entry.name_utf8)) {
      matches = IsFoldedAscii(entry.name_utf8, name.text);
    }
    if (matches == false) continue;
    // Copies, so that the result is not read from memory that was written just before.
    TextScratch::Texts key = entry.name;
    TextScratch::Texts value = entry.value;
    if (key.units == nullptr) {
      entry.name = key = scratch_.Widen(entry.name_utf8);
      entry.value = value = scratch_.Widen(entry.value_utf8);
    }
    const auto is_it = [&](const auto& pair) { return pair.key() == key.given(); };
    if ((matches || name.MatchesFolded(String::Trimmed(key.folded()))) &&
        std::ranges::none_of(except, is_it)) {
      return PairView{key.given(), value.given()};
    }
  }
  return std::nullopt;
}

void LineValues::Clear() {
  scratch_.Clear();
  id_ = {};
  known_ = Bit(FilterField::os);
  utf8_[Index(FilterField::os)] = kOs;
  converted_ = parsed_ = 0;
  has_firmware_ = true;
  for (Hashed& hashed : hashed_) hashed = {};
  zone_ = &no_zone_;
  subscriptions_ = ids_ = Knowledge::kUnknown;
  subscriptions_utf8_.clear();
  subscription_texts_.clear();
  tags_.Clear();
  items_.Clear();
  ids_utf8_.clear();
  hardware_ids_.reset();
  registry_.clear();
}

bool LineValues::TimeZone(std::string_view name) {
  zone_ = &FindZone(name);
  return zone_->zone.has_value();
}

LineValues::Zone& LineValues::FindZone(std::string_view name) {
  std::uint64_t letters = 0;  // the last eight: few continents, many cities
  if (name.size() >= sizeof letters) {
    std::memcpy(&letters, name.data() + name.size() - sizeof letters, sizeof letters);
  } else {
    for (const char letter : name) letters = letters << 8 | static_cast<unsigned char>(letter);
  }
  const std::size_t slot = letters * 0x9E3779B97F4A7C15U >> 56;  // Fibonacci hashing
  Zones::value_type*& recent = recent_zones_[slot];
  if (recent == nullptr || recent->first != name) {
    if (zones_.size() == kMostZones) {
      zones_.clear();
      recent_zones_ = {};
    }
    auto found = zones_.find(name);
    if (found == zones_.end()) found = zones_.emplace(name, Zone{yox::TimeZone::Parse(name)}).first;
    recent = &*found;
  }
  return recent->second;
}

decision::DayStart LineValues::StartOfDay(int year, int month, int day) {
  const LocalDate asked{year, month, day};
  if (!zone_->start || zone_->day != asked) {
    zone_->day = asked;
    zone_->start = zone_->zone
                       ? decision::DayStart::Of(zone_->zone->StartOfLocalDay(year, month, day))
                       : decision::DayStart::Anywhere(year, month, day);
  }
  return *zone_->start;
}

void LineValues::Hash(bool is_realm, std::optional<std::string_view> digits) {
  Hashed& hashed = hashed_[is_realm];
  hashed.knowledge = digits ? Knowledge::kKnown : Knowledge::kMissing;
  hashed.is_digits = digits.has_value();
  hashed.utf8 = digits.value_or("");
}

void LineValues::Bucket(bool is_realm, std::optional<int> bucket) {
  hashed_[is_realm].bucket = bucket ? *bucket : decision::RolloutBucket(decision::SaltedHashOf({}));
}

void LineValues::Begin(Fact fact, Knowledge knowledge) {
  if (fact == Fact::device_subscription) subscriptions_ = knowledge;
  if (fact == Fact::tags) tags_.Begin();
  if (fact == Fact::installed_items) items_.Begin();
  if (fact == Fact::hardware_ids) ids_ = Knowledge::kKnown;
}

TextFact LineValues::TextOf(FilterField field) {
  if ((converted_ & Bit(field)) != 0) return texts_[Index(field)];
  Knowledge knowledge = Knowledge::kUnknown;
  const TextScratch::Texts texts = MakeText(field, knowledge);
  converted_ |= Bit(field);
  TextFact fact;
  if (knowledge != Knowledge::kUnknown) {
    fact = {knowledge, true, texts.given(), String::Trimmed(texts.folded())};
  }
  texts_[Index(field)] = fact;
  return fact;
}

TextScratch::Texts LineValues::MakeText(FilterField field, Knowledge& knowledge) {
  if (field == FilterField::sn_hash) return MakeHash(hashed_[0], knowledge);
  if (field == FilterField::org_hash) return MakeHash(hashed_[1], knowledge);
  if (!has_firmware_ && (kFirmwareTexts & Bit(field)) != 0) {
    knowledge = Knowledge::kMissing;
  } else if ((known_ & Bit(field)) != 0) {
    knowledge = Knowledge::kKnown;
  }
  if ((known_ & Bit(field)) == 0) return {};
  return scratch_.Widen(utf8_[Index(field)]);
}

TextScratch::Texts LineValues::MakeHash(const Hashed& hashed, Knowledge& knowledge) {
  knowledge = hashed.knowledge;
  if (knowledge == Knowledge::kUnknown) return {};
  return hashed.is_digits ? scratch_.Widen(hashed.utf8)
                          : scratch_.Widen(YOX::utility::SHA256WithSalt(std::string(hashed.utf8)));
}

VersionFact LineValues::VersionOf(FilterField field) {
  std::optional<VersionFact>& known = versions_[Index(field)];
  if ((parsed_ & Bit(field)) != 0) return *known;
  const TextFact text = TextOf(field);
  VersionFact version{text.knowledge, decision::VersionText(text.given)};
  version.text.Parsed();  // copies keep what was parsed
  known = version;
  parsed_ |= Bit(field);
  return version;
}

BucketFact LineValues::BucketOf(bool is_realm) {
  const Hashed& hashed = hashed_[is_realm];
  if (hashed.bucket) return {Knowledge::kKnown, *hashed.bucket};
  if (hashed.knowledge == Knowledge::kUnknown) return {};
  const TextFact hash = TextOf(is_realm ? FilterField::org_hash : FilterField::sn_hash);
  return {Knowledge::kKnown, decision::RolloutBucket(hash.given)};
}

decision::TextsFact LineValues::Subscriptions() {
  if (subscription_texts_.empty()) {
    for (const std::string_view text : subscriptions_utf8_) {
      subscription_texts_.push_back(String::UTF8ToUTF16(text));
    }
  }
  return {subscriptions_, subscription_texts_};
}

PairsFact LineValues::PairsOf(const LinePairs& pairs) {
  if (!pairs.is_known()) return {};
  return {Knowledge::kKnown, &pairs};
}

decision::HardwareIdsFact LineValues::HardwareIds() {
  if (ids_ == Knowledge::kUnknown) return {};
  if (!hardware_ids_) {
    std::vector<WString> ids;
    for (const std::string_view id : ids_utf8_) ids.push_back(String::UTF8ToUTF16(id));
    hardware_ids_.emplace(ids);
  }
  return {Knowledge::kKnown, &*hardware_ids_};
}

bool LineValues::IsFolded(std::string_view utf8, WStringView folded) {
  const std::optional<bool> known = IsFoldedAscii(utf8, folded);
  return known ? *known : scratch_.Widen(utf8).folded() == folded;
}

RegistryFact LineValues::RegistryOf(const decision::CompiledRegistryRequirement& requirement) {
  using enum RegistryFact::Stage;
  const auto found = std::ranges::find_if(registry_, [&](const RegistryEntry& entry) {
    std::string_view key = entry.key_utf8;
    while (key.ends_with('\\')) key.remove_suffix(1);
    return IsFolded(key, requirement.folded_place) &&
           IsFolded(entry.name_utf8, requirement.folded_name);
  });
  if (found == registry_.end()) return {};
  if (!found->text_utf8) return {kNoValue};
  return {kRead, scratch_.Widen(*found->text_utf8).given()};
}

}  // namespace yox::facts
