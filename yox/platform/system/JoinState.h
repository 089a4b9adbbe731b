#pragma once

#include <cstdint>

namespace yox::platform {

// What asking about a join came to.
struct JoinAnswer {
  enum class Outcome {
    kAsked,       // the system answered, be it with an error
    kUnknown,     // the system has no such service
    kNoHostName,  // `code` says why
    kNoLibrary,
    kNoFunction,
  };
  Outcome outcome = Outcome::kUnknown;
  std::uint32_t code = 0;  // the system's error; 0 is success
  bool joined = false;
};

// Whether the device belongs to an organisation's directory. Safe from any thread; returns within
// seconds.
class JoinState {
 public:
  virtual ~JoinState() = default;

  // A domain; a workgroup is none.
  virtual JoinAnswer Domain() = 0;
  // A directory in the cloud that the device itself has joined; a user's work account is none.
  virtual JoinAnswer Cloud() = 0;
};

}  // namespace yox::platform
