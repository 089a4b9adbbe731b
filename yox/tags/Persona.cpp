#include "yox/tags/Persona.h"

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/System.h"

using YOX::g_log;
using yox::WString;
using yox::WStringView;
using namespace yox::literals;

namespace yox {
namespace {

struct Row {
  WStringView word;  // the end of the tag's key
  bool (PersonaUtility::*is_chosen)();
};

constexpr Row kPersonas[] = {
    {"Business"_wv, &PersonaUtility::IsBusinessProfessional},
    {"Gaming"_wv, &PersonaUtility::IsGamer},
    {"SchoolWork"_wv, &PersonaUtility::IsStudent},
    {"Creative"_wv, &PersonaUtility::IsCreator},
    {"Entertainment"_wv, &PersonaUtility::IsEntertainer},
    {"Developer"_wv, &PersonaUtility::IsDeveloper},
    {"Family"_wv, &PersonaUtility::IsFamily},
};

WString KeyOf(const Row& row) { return "User.Usage.Detected."_w.append(row.word); }

}  // namespace

const WString Persona::kIntentRegistryPath =
    "Software\\Microsoft\\Windows\\CurrentVersion\\CloudExperienceHost\\Intent"_w;

bool PersonaUtility::IsBusinessProfessional() {
  return RegistryPersonaValueExists("business"_w.c_str());
}
bool PersonaUtility::IsGamer() { return RegistryPersonaValueExists("gaming"_w.c_str()); }
bool PersonaUtility::IsStudent() { return RegistryPersonaValueExists("schoolWork"_w.c_str()); }
bool PersonaUtility::IsCreator() { return RegistryPersonaValueExists("creative"_w.c_str()); }
bool PersonaUtility::IsEntertainer() {
  return RegistryPersonaValueExists("entertainment"_w.c_str());
}
bool PersonaUtility::IsDeveloper() { return RegistryPersonaValueExists("developer"_w.c_str()); }
bool PersonaUtility::IsFamily() { return RegistryPersonaValueExists("family"_w.c_str()); }

bool PersonaUtility::RegistryPersonaValueExists(const yox::WChar* subkey) {
  WString path;
  YOX::System::GetLoggedInUserSID(path);
  path.append("\\"_wv).append(Persona::kIntentRegistryPath).append("\\"_wv).append(subkey);
  std::uint32_t intent = 0;
  const int exists = YOX::CRegUtil::GetRegValueOfDwordType(HKEY_USERS, path, "Intent"_w, intent);
  g_log.d("%s:subkeyapth %s exists %d value %d", "yox::PersonaUtility::RegistryPersonaValueExists",
          path, exists, intent);
  return exists != 0 && intent == 1;
}

void Persona::GeneratePersonaTags(std::vector<YOXTag>& tags) {
  PersonaUtility utility;
  GeneratePersonaTagsInternal(tags, utility);
}

void Persona::GeneratePersonaTagsInternal(std::vector<YOXTag>& tags, PersonaUtility& utility) {
  constexpr const char* kOrigin = "yox::Persona::GeneratePersonaTagsInternal";
  g_log.d("%s: persona tags", kOrigin);
  std::vector<YOXTag> found;
  for (const Row& row : kPersonas) {
    if ((utility.*row.is_chosen)()) found.emplace_back(KeyOf(row), "Windows"_w);
  }
  for (const YOXTag& tag : found) {
    g_log.d("%s: Added persona tag [%s]=[%s]", kOrigin, tag.key(), tag.value());
    tags.push_back(tag);
  }
  g_log.d("%s:generate persona tags %d", kOrigin, tags.size());
}

void Persona::RemovePersonaTags(std::vector<YOXTag>& tags) {
  constexpr const char* kOrigin = "yox::Persona::RemovePersonaTags";
  g_log.d("%s:Remove persona tags %d", kOrigin, tags.size());
  for (const Row& row : kPersonas) {
    const WString key = KeyOf(row);
    std::erase_if(tags, [&](const YOXTag& tag) { return tag.key() == key; });
  }
  g_log.d("%s:Remove persona tags %d", kOrigin, tags.size());
}

}  // namespace yox
