// Notes which blocks of the sources that are compiled with -fsanitize-coverage=trace-pc each test
// reaches, for scripts/mutate. Linked into a program of GoogleTest. For each test a line is added
// to the file that YOX_REACHED names: name, source, 1 when it passed, seconds and the addresses of
// the blocks in hexadecimal, relative to the program's begin, with tabs between them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <ios>

extern "C" {
extern const char __executable_start;  // the linker's
void __sanitizer_cov_trace_pc();
}

namespace {

constexpr std::size_t kLargestProgram = std::size_t{1} << 28;
constexpr std::size_t kMostBlocks = std::size_t{1} << 20;

// The system gives memory only for the pages that are written.
std::array<std::atomic<bool>, kLargestProgram> reached;
std::array<std::atomic<std::uint32_t>, kMostBlocks> blocks;
std::atomic<std::size_t> count = 0;

class Listener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override {
    const std::size_t end = count;
    for (std::size_t i = 0; i < end; ++i) reached[blocks[i]] = false;
    count = 0;
  }

  void OnTestEnd(const testing::TestInfo& test) override {
    const char* const file = std::getenv("YOX_REACHED");
    if (file == nullptr) return;
    std::ofstream out(file, std::ios::app);
    out << test.test_suite_name() << '.' << test.name() << '\t' << test.file() << '\t'
        << test.result()->Passed() << '\t'
        << static_cast<double>(test.result()->elapsed_time()) / 1000 << std::hex;
    const std::size_t end = count;
    for (std::size_t i = 0; i < end; ++i) out << '\t' << blocks[i];
    out << '\n';
  }
};

[[maybe_unused]] const bool listens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new Listener);
  return true;
}();

}  // namespace

void __sanitizer_cov_trace_pc() {
  const auto begin = reinterpret_cast<std::uintptr_t>(&__executable_start);
  // Within the call, so that its line is that of the block.
  const std::size_t place =
      reinterpret_cast<std::uintptr_t>(__builtin_return_address(0)) - begin - 1;
  if (place >= kLargestProgram || reached[place].load(std::memory_order_relaxed) ||
      reached[place].exchange(true))
    return;
  const std::size_t at = count++;
  if (at < kMostBlocks) blocks[at] = static_cast<std::uint32_t>(place);
}
