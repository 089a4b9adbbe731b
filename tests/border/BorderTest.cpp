// What must hold between a program and the shared library that it loads. With the Windows cross
// compiler some of it breaks as soon as the two do not share the compiler's runtime.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/foundation/Version.h"

#include "tests/border/Probe.h"

namespace {

using namespace yox::literals;

TEST(BorderTest, StandardExceptionOfTheLibraryIsCaughtByItsTypeInTheProgram) {
  try {
    border::ThrowOutOfRange("stoi argument out of range");
    FAIL() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "stoi argument out of range");
  }
}

TEST(BorderTest, ExceptionTypeOfTheLibraryIsCaughtByItsOwnTypeAndByItsBase) {
  try {
    border::ThrowProbeError("own", 17);
    FAIL() << "nothing was thrown";
  } catch (const border::ProbeError& error) {
    EXPECT_EQ(error.code(), 17);
    EXPECT_EQ(typeid(error), typeid(border::ProbeError));
  }
  EXPECT_THROW(border::ThrowProbeError("base", 1), std::runtime_error);
}

TEST(BorderTest, ExceptionOfTheProgramIsCaughtInTheLibrary) {
  EXPECT_EQ(border::CatchTextOf([] { throw std::invalid_argument("from the program"); }),
            "from the program");
  EXPECT_EQ(border::CatchTextOf([] {}), "");
}

TEST(BorderTest, ExceptionPassesThroughTheLibraryBackIntoTheProgram) {
  struct ForeignError {
    int value;
  };
  try {
    border::CatchTextOf([] { throw ForeignError{5}; });
    FAIL() << "nothing was thrown";
  } catch (const ForeignError& error) {
    EXPECT_EQ(error.value, 5);
  }
}

TEST(BorderTest, ExceptionOfALibraryThreadIsHandedOverAndRethrownInTheProgram) {
  const std::exception_ptr thrown =
      border::RunOnLibraryThread([] { border::ThrowProbeError("other thread", 3); });
  ASSERT_TRUE(thrown);
  try {
    std::rethrow_exception(thrown);
  } catch (const border::ProbeError& error) {
    EXPECT_STREQ(error.what(), "other thread");
  }
}

TEST(BorderTest, BothSidesCountTheSameExceptionsInFlight) {
  struct AtUnwinding {
    int& program;
    int& library;
    ~AtUnwinding() {
      program = std::uncaught_exceptions();
      library = border::UncaughtExceptions();
    }
  };
  for (int round = 0; round < 3; ++round) {
    int program = -1;
    int library = -1;
    try {
      const AtUnwinding guard{program, library};
      border::ThrowOutOfRange("in flight");
    } catch (const std::out_of_range&) {
      // The guard has looked.
    }
    EXPECT_EQ(program, 1) << round;
    EXPECT_EQ(library, 1) << round;
    EXPECT_EQ(std::uncaught_exceptions(), 0) << round;
    EXPECT_EQ(border::UncaughtExceptions(), 0) << round;
  }
}

TEST(BorderTest, ErrorCodesAndConditionsAreEqualOnBothSides) {
  const std::error_code code = border::MakeErrorCode(std::errc::no_such_file_or_directory);
  EXPECT_EQ(code, std::make_error_code(std::errc::no_such_file_or_directory));
  EXPECT_EQ(code, std::errc::no_such_file_or_directory);
  EXPECT_EQ(&code.category(), &std::generic_category());
  EXPECT_TRUE(border::MeansMissingFile(std::make_error_code(std::errc::no_such_file_or_directory)));
  EXPECT_FALSE(border::MeansMissingFile(std::make_error_code(std::errc::permission_denied)));
}

TEST(BorderTest, SystemErrorOfTheLibraryMeansTheSameInTheProgram) {
  try {
    border::ThrowSystemError(std::errc::permission_denied);
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::permission_denied);
  }
  EXPECT_EQ(border::ErrorOfMissingFile(), std::errc::no_such_file_or_directory);
}

TEST(BorderTest, ThreadLocalObjectOfTheLibraryIsOnePerThreadOfTheProgram) {
  border::ThreadNumber() = 1;
  int seen = -1;
  std::thread([&seen] {
    seen = border::ThreadNumber();
    border::ThreadNumber() = 2;
  }).join();
  EXPECT_EQ(seen, 0);
  EXPECT_EQ(border::ThreadNumber(), 1);
}

TEST(BorderTest, ThreadLocalObjectOfTheLibraryEndsWithItsThread) {
  const int before = border::DestroyedThreadNumbers();
  std::thread([] { border::ThreadNumber() = 2; }).join();
  EXPECT_EQ(border::DestroyedThreadNumbers(), before + 1);
  border::RunOnLibraryThread([] { border::ThreadNumber() = 3; });
  EXPECT_EQ(border::DestroyedThreadNumbers(), before + 2);
}

TEST(BorderTest, ThreadLocalObjectOfTheProgramIsSeenByItsCallbackOnALibraryThread) {
  thread_local int own = 7;
  own = 8;
  int seen = -1;
  border::RunOnLibraryThread([&seen] { seen = own; });
  EXPECT_EQ(seen, 7);
  EXPECT_EQ(own, 8);
}

TEST(BorderTest, ExceptionOfTheProductIsCaughtWithItsText) {
  try {
    YOX::String::ToInteger("none"_w);
    FAIL() << "nothing was thrown";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "invalid stoi argument");
  }
}

TEST(BorderTest, TextsAndValuesOfTheProductBelongToTheProgram) {
  std::vector<yox::WString> pieces =
      YOX::String::Split("a text too long for the object itself,b"_w, ',');
  pieces.push_back("c"_w);
  pieces.front() += "!"_w;
  EXPECT_EQ(pieces.front(), "a text too long for the object itself!"_w);
  EXPECT_TRUE(Version::Parse("1.2"_w) < Version(1, 2, 0));
}

TEST(BorderTest, SharedLogOfTheProductCallsTheProgramsSink) {
  std::string seen;
  YOX::Log::SetSink([&](std::string_view log, YOX::LogLevel, std::string_view line) {
    seen = std::string(log) + ": " + std::string(line);
  });
  YOX::g_log.e("%s: %d", "border", 7);
  YOX::Log::SetSink({});
  EXPECT_EQ(seen, "yox: border: 7");
}

}  // namespace
