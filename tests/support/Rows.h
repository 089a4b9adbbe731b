#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

// A row is printed as its name. GoogleTest prints the parameters of all cases whenever the program
// starts, and would print the bytes of each row, which took a quarter of the start.
template <class Row>
requires requires(const Row& row, std::string name) {
  name = row.name;
} &&(!requires(const Row& row, std::ostream& stream) {
  stream << row;
}) class testing::internal::UniversalPrinter<Row> {
 public:
  static void Print(const Row& row, std::ostream* stream) { *stream << row.name; }
};

namespace yox_test {

// Names the cases of a value-parameterized suite by the `name` of their rows:
//   INSTANTIATE_TEST_SUITE_P(, Suite, testing::Values(Row{"Name", ...}, ...), yox_test::RowName());
struct RowName {
  template <class Row>
  std::string operator()(const testing::TestParamInfo<Row>& row) const {
    return row.param.name;
  }
};

}  // namespace yox_test
