#include "yox/clientbase/MTMAgent.h"

#include "yox/base/String.h"

using yox::WString;

WString MTMAgent::GetMTM(const WString& model_number) {
  return WString(YOX::String::Trimmed(model_number));
}

WString MTMAgent::GetMTFromMTM(const WString& mtm) { return mtm.substr(0, 4); }
