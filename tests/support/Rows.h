#pragma once

#include <gtest/gtest.h>

#include <string>

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
