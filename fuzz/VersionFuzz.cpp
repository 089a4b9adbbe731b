#include <compare>

#include "yox/foundation/Version.h"

#include "fuzz/FuzzInput.h"

// Three lines, each read as a version.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const yox::WString texts[] = {input.Text(), input.Text(), input.Text()};
  Version versions[3];
  for (int i = 0; i < 3; ++i) {
    const Version untouched(7, 7, 7, 7);
    Version read = untouched;
    const bool parsed = Version::TryParse(texts[i], read);
    FUZZ_CHECK(parsed || read == untouched);
    // A component is the digits of its text.
    int component = -1;
    const bool has_digits = Version::TryParseComponent(texts[i], yox::WString(), read, component);
    FUZZ_CHECK(has_digits == (component >= 0));
    versions[i] = Version::Parse(texts[i]);
    FUZZ_CHECK(versions[i] == (parsed ? read : Version()));
    const std::optional<Version> viewed = Version::FromView(texts[i]);
    FUZZ_CHECK(viewed.has_value() == parsed && viewed.value_or(untouched) == read);
    // Only digits and dots count.
    FUZZ_CHECK(!parsed || texts[i].find(yox::WChar{'.'}) != yox::WString::npos);
  }
  // The order is total.
  for (const Version& a : versions) {
    for (const Version& b : versions) {
      FUZZ_CHECK(a.CompareTo(b) == -b.CompareTo(a));
      FUZZ_CHECK((a.CompareTo(b) == 0) == (a == b) && a.Equals(b) == (a == b));
      FUZZ_CHECK((a.CompareTo(b) < 0) == (a < b));
      for (const Version& c : versions) FUZZ_CHECK(!(a <= b && b <= c) || a <= c);
    }
  }
  return 0;
}
