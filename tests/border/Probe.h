#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "yox/base/Export.h"

// A shared library linked as the product's is. Its functions do, on their side of the border, what
// the product's do here and there.
namespace border {

// An exception type of the library's own.
class YOX_API ProbeError : public std::runtime_error {
 public:
  explicit ProbeError(const std::string& text, int code);
  ~ProbeError() override;
  int code() const { return code_; }

 private:
  int code_;
};

[[noreturn]] YOX_API void ThrowOutOfRange(const std::string& text);
[[noreturn]] YOX_API void ThrowProbeError(const std::string& text, int code);
[[noreturn]] YOX_API void ThrowSystemError(std::errc code);

// Calls `callback` and returns the text of what it throws, "" if nothing.
YOX_API std::string CatchTextOf(const std::function<void()>& callback);

// Calls `callback` on a thread made and joined by the library; hands over what it throws.
YOX_API std::exception_ptr RunOnLibraryThread(const std::function<void()>& callback);

// How many exceptions are in flight, as the library's side of the border counts them.
YOX_API int UncaughtExceptions();

YOX_API std::error_code MakeErrorCode(std::errc code);
YOX_API bool MeansMissingFile(const std::error_code& code);
// What the file system says of a file that is not there.
YOX_API std::error_code ErrorOfMissingFile();

// A number that each thread has for itself, made at its first use with 0.
YOX_API int& ThreadNumber();
// How many of those numbers were destroyed, each by the end of its thread.
YOX_API int DestroyedThreadNumbers();

}  // namespace border
