#include "yox/clientbase/MTMAgent.h"

#include "yox/clientbase/String.h"

using YOX::WString;

WString MTMAgent::GetMTM(const WString& model_number) {
  return WString(YOX::String::Trimmed(model_number));
}

WString MTMAgent::GetMTFromMTM(const WString& mtm) { return mtm.substr(0, 4); }
