#include "yox/decision/RegistryRequirement.h"

#include "yox/base/String.h"

namespace yox::decision {

RegistryRequirement RegistryRequirement::Parse(WStringView requirement) {
  const std::size_t colon = requirement.find(WChar{':'});
  if (colon == WStringView::npos) return {Form::kNoName, requirement};
  const WStringView path = requirement.substr(0, colon);
  const WStringView behind = requirement.substr(colon + 1);
  const std::size_t bar = behind.find(WChar{'|'});
  if (bar == WStringView::npos) return {Form::kNoData, path, behind};
  return {Form::kComplete, path, behind.substr(0, bar), behind.substr(bar + 1)};
}

CompiledRegistryRequirement CompiledRegistryRequirement::Compile(WStringView requirement,
                                                                 TextArena& arena) {
  CompiledRegistryRequirement compiled{RegistryRequirement::Parse(requirement)};
  if (compiled.form != Form::kComplete) return compiled;
  WString key(compiled.path);
  compiled.hive = TakeHive(key);
  compiled.has_doubled_separator = HasDoubledSeparator(key);
  compiled.key = arena.Keep(key);
  if (compiled.hive) {
    WString place = *compiled.hive == Hive::kCurrentUser ? "HKCU"_w : "HKLM"_w;
    const WStringView below = String::Trimmed(compiled.key, "\\"_wv);
    if (!below.empty()) place.append("\\"_wv).append(below);
    compiled.folded_place = arena.KeepFolded(place);
  }
  compiled.folded_name = arena.KeepFolded(compiled.name);
  compiled.pattern = TextPattern::Parse(compiled.data);
  compiled.pattern.text = arena.KeepFolded(compiled.pattern.text);
  return compiled;
}

std::optional<Hive> TakeHive(WString& path) {
  const bool slash = path.find(WChar{'/'}) != WString::npos;
  const bool backslash = path.find(WChar{'\\'}) != WString::npos;
  if (slash == backslash) return std::nullopt;  // mixed, or the hive alone
  if (slash) path = String::Replace(path, "/"_wv, "\\"_wv);
  const WString hive = String::Split(path, '\\').front();
  // A set of characters, on purpose: letters of the hive are eaten from the key's name, too.
  String::trimStart(path, hive + "\\"_w);
  if (hive == "HKCU"_wv) return Hive::kCurrentUser;
  if (hive == "HKLM"_wv) return Hive::kLocalMachine;
  return std::nullopt;
}

bool HasDoubledSeparator(WStringView path) { return path.find("\\\\"_wv) != WStringView::npos; }

}  // namespace yox::decision
