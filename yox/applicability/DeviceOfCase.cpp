#include "yox/applicability/DeviceOfCase.h"

#include <json/value.h>

#include <string>

#include "yox/base/Document.h"
#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"
#include "yox/base/String.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

namespace yox::applicability {
namespace {

// What a patch contains takes the place of what was there, objects member by member; null removes.
void Merge(Json::Value& target, const Json::Value& patch) {
  if (!patch.isObject()) {
    target = patch;
    return;
  }
  if (!target.isObject()) target = Json::Value(Json::objectValue);
  for (const std::string& key : patch.getMemberNames()) {
    if (patch[key].isNull()) {
      target.removeMember(key);
    } else {
      Merge(target[key], patch[key]);
    }
  }
}

yox::platform::DeviceProfile ReadChanged(const Json::Value& document, const char* changed_by) {
  try {
    return yox::platform::ReadDeviceProfile(yox::JsonText(document));
  } catch (const yox::DocumentError& error) {
    // The place is one in a text that is in no file.
    throw yox::DocumentError(std::string(changed_by) + ": " + error.message());
  }
}

}  // namespace

yox::platform::DeviceProfile DeviceOfCase(const decision::ListTestCase& test,
                                          std::string_view profile) {
  Json::Value document = yox::ParseDocument(profile);
  yox::platform::DeviceProfile device;
  try {
    device = yox::platform::ReadDeviceProfile(profile);
  } catch (const yox::DocumentError& error) {
    throw yox::DocumentError(std::string("profile: ") + error.what());
  }
  if (test.changes) {
    Merge(document, *test.changes);
    device = ReadChanged(document, "changes");
  }
  if (test.now) {
    document["clock"]["now"] = YOX::String::UTF16ToUTF8(*test.now);
    device = ReadChanged(document, "now");
  }
  return device;
}

}  // namespace yox::applicability
