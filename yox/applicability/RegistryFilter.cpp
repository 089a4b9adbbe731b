#include <array>
#include <cstddef>
#include <span>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/RegistryReading.h"
#include "yox/base/String.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/ProcessWrap.h"
#include "yox/clientbase/System.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/platform/registry/Registry.h"

using YOX::CRegUtil;
using YOX::String;
using yox::WChar;
using yox::WString;
using yox::decision::RegistryRequirement;
using yox::platform::RegistryType;
using Stage = yox::decision::RegistryFact::Stage;
using namespace yox::literals;

namespace {

constexpr std::uint32_t kKeyRead = 131097;
constexpr std::uint32_t kLongestValue = 4096;  // bytes
constexpr long kMoreData = 234;

// The bytes up to `size`, and zeros after them.
class PaddedBytes {
 public:
  PaddedBytes(const std::uint8_t* data, std::uint32_t size) : bytes_(data, size) {}

  std::size_t size() const { return bytes_.size(); }

  template <class Number>
  Number At(std::size_t offset) const {
    Number number = 0;
    for (std::size_t i = 0; i < sizeof(Number) && offset + i < bytes_.size(); ++i) {
      number = static_cast<Number>(number | (Number{bytes_[offset + i]} << (8 * i)));
    }
    return number;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

WString UpToTerminator(const PaddedBytes& bytes) {
  WString text;
  for (std::size_t i = 0;; i += sizeof(std::uint16_t)) {
    const auto unit = static_cast<WChar>(bytes.At<std::uint16_t>(i));
    if (unit == 0) return text;
    text += unit;
  }
}

WString Hexadecimal(const PaddedBytes& bytes) {
  constexpr auto kDigits = "0123456789abcdef"_wv;
  WString text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i != 0) text += WChar{' '};
    const auto byte = bytes.At<std::uint8_t>(i);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

WString Decimal(std::uint64_t number) { return String::UTF8ToUTF16(std::to_string(number)); }

}  // namespace

bool ApplicabilityEvaluator::EvaluateRegistryFilter(const WString& requirements) {
  for (auto rest = yox::decision::Pieces(requirements); rest;) {
    const auto requirement = RegistryRequirement::Parse(yox::decision::NextPiece(rest, ','));
    if (!MeetsRegistryRequirement(requirement)) return false;
  }
  return true;
}

bool ApplicabilityEvaluator::MeetsRegistryRequirement(const RegistryRequirement& requirement) {
  constexpr const char* kOrigin = "ApplicabilityEvaluator::EvaluateRegistryFilter";
  if (requirement.form == RegistryRequirement::Form::kNoName) {
    g_evaluator_log.d("%s Registry filter failed due to invalid input", kOrigin);
    return false;
  }
  if (requirement.form == RegistryRequirement::Form::kNoData) {
    g_evaluator_log.d(
        "%s Registry filter failed due to invalid input provided for required registry value and "
        "data",
        kOrigin);
    return false;
  }
  WString path(requirement.path);
  const std::vector value_and_data = {WString(requirement.name), WString(requirement.data)};
  if (DoesRequirementPathandValueExistInRegistry(path, value_and_data)) return true;
  g_evaluator_log.d("%s Registry filter failed due to entry not found : : %s %s %s", kOrigin, path,
                    value_and_data[0], value_and_data[1]);
  return false;
}

ApplicabilityEvaluator::RegistryReading ApplicabilityEvaluator::ReadRegistry(HKEY hive,
                                                                             const WString& path,
                                                                             const WString& name) {
  const bool system = YOX::ProcessWrap::IsSystemProcess();
  WString sid;
  if (system) YOX::System::GetLoggedInUserSID(sid);
  CRegUtil registry;
  HKEY key = nullptr;
  if (!registry.OpenKey(hive, path, key, system, sid, kKeyRead)) return {Stage::kNoKey};
  std::array<std::uint8_t, kLongestValue> buffer{};
  std::uint32_t size = kLongestValue;
  std::uint32_t type{};
  const long status =
      CRegUtil::GetKeyValue(hive, path, name, system, sid, buffer.data(), size, type, false);
  if (status != 0) return {status == kMoreData ? Stage::kTooLong : Stage::kNoValue};
  return {Stage::kRead, ConvertRegValueToString(buffer.data(), type, size)};
}

bool ApplicabilityEvaluator::DoesRequirementPathandValueExistInRegistry(
    WString& path, const std::vector<WString>& valueAndData) {
  constexpr const char* kOrigin =
      "ApplicabilityEvaluator::DoesRequirementPathandValueExistInRegistry";
  const WString& name = valueAndData[0];
  const WString& required = valueAndData[1];

  HKEY const hive = GetHKeyAndModifyRegistryPath(path);
  if (hive == nullptr) {
    g_evaluator_log.d("%s Registry filter failed due to invalid HKEY. Expected HKEY is HKLM/HKCU",
                      kOrigin);
    return false;
  }
  if (yox::decision::HasDoubledSeparator(path)) {
    g_evaluator_log.d(
        "%s Registry filter failed since registry path %s contains redundant / or \\ characters.",
        kOrigin, path);
    return false;
  }
  const RegistryReading reading = ReadRegistry(hive, path, name);
  if (reading.stage == Stage::kNoKey) {
    g_evaluator_log.d("%s Registry filter failed since registry path %s is not found in registry.",
                      kOrigin, path);
    return false;
  }
  if (reading.stage != Stage::kRead) {
    g_evaluator_log.d(
        "%s Registry filter failed since the value name %s is not found in the given registry "
        "path %s.",
        kOrigin, name, path);
    return false;
  }
  if (DoesStringMatch(required, reading.text)) return true;
  g_evaluator_log.d(
      "%s Registry filter failed since the actual data %s doesn't match with the required data %s.",
      kOrigin, reading.text, required);
  return false;
}

HKEY ApplicabilityEvaluator::GetHKeyAndModifyRegistryPath(WString& path) {
  const auto hive = yox::decision::TakeHive(path);
  return hive ? yox::applicability::KeyOf(*hive) : nullptr;
}

WString ApplicabilityEvaluator::ConvertRegValueToString(const std::uint8_t* data,
                                                        std::uint32_t type, std::uint32_t size) {
  const PaddedBytes bytes(data, size);
  switch (RegistryType{type}) {
    case RegistryType::kText:
    case RegistryType::kExpandableText:
    case RegistryType::kMultiText:
      return UpToTerminator(bytes);
    case RegistryType::kBinary:
      return Hexadecimal(bytes);
    case RegistryType::kDword:
      return Decimal(bytes.At<std::uint32_t>(0));
    case RegistryType::kQword:
      return Decimal(bytes.At<std::uint64_t>(0));
    default:
      return "[Unsupported Value Type]"_w;
  }
}
