#pragma once

#include <string>
#include <string_view>

namespace yoxd {

// What a result of the MQTT library means, in words. `error` is errno after the call.
std::string MqttFailure(int result, int error);

// What a line of the library's log says about TLS, without the codes of the TLS library: "TLS:
// certificate verify failed". Any other line is returned as it is.
std::string TlsFailure(std::string_view line);

}  // namespace yoxd
