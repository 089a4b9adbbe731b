#include "yox/applicability/TestEvaluator.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "fuzz/FuzzInput.h"

namespace {

using yox::WString;

// Where every look-up succeeds: the list matches exactly when each piece has its two separators.
class Agreeing : public yox_test::TestEvaluator {
 protected:
  bool DoesRequirementPathandValueExistInRegistry(
      WString& path, const std::vector<WString>& valueAndData) override {
    FUZZ_CHECK(valueAndData.size() == 2);
    GetHKeyAndModifyRegistryPath(path);
    FUZZ_CHECK(path.find(yox::WChar{','}) == WString::npos);
    return true;
  }
};

bool IsWellFormed(const WString& requirements) {
  for (const WString& piece : YOX::String::Split(requirements, ',')) {
    const std::size_t colon = piece.find(yox::WChar{':'});
    if (colon == WString::npos || piece.find(yox::WChar{'|'}, colon + 1) == WString::npos) {
      return false;
    }
  }
  return true;
}

}  // namespace

// The text of a registry requirement, against a device whose registry contains a little.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const device = [] {
    auto* const made = new yox::platform::SimulatedDevice;
    auto& registry = made->registry();
    const yox::platform::RegistryKey key{
        HKEY_LOCAL_MACHINE, YOX::String::UTF8ToUTF16("A\\B"), {}, {}};
    registry.CreateKey(key);
    registry.SetValue(key, YOX::String::UTF8ToUTF16("N"), yox::platform::RegistryValue::Dword(10));
    return made;
  }();
  static const yox::platform::ScopedPlatform installed(*device);
  yox_fuzz::FuzzInput input(data, size);
  const WString requirements = input.Text();
  static yox_test::TestEvaluator evaluator;
  static Agreeing agreeing;
  const bool agreed = agreeing.EvaluateRegistryFilter(requirements);
  FUZZ_CHECK(agreed == IsWellFormed(requirements));
  if (evaluator.EvaluateRegistryFilter(requirements)) FUZZ_CHECK(agreed);
  return 0;
}
