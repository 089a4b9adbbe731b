#pragma once

#include <stdexcept>

#include "tests/support/ForwardingFiles.h"

namespace yox_test {

// Files whose places cannot be found.
class LostFiles final : public ForwardingFiles {
 public:
  using ForwardingFiles::ForwardingFiles;
  std::filesystem::path Locate(yox::WStringView) const override {
    throw std::runtime_error("no place");
  }
};

}  // namespace yox_test
