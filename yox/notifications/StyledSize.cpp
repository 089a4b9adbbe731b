#include "yox/notifications/StyledSize.h"

#include <cstddef>

namespace yox::notifications {
namespace {

constexpr std::size_t kMostIndentation = std::size_t{1} << 20;
constexpr std::size_t kMostIndentationPerValue = 16;

struct Size {
  std::size_t values = 0;
  std::size_t indentation = 0;
};

void Add(const Json::Value& value, std::size_t depth, Size& size) {
  ++size.values;
  size.indentation += depth;
  for (const Json::Value& member : value) Add(member, depth + 1, size);
}

}  // namespace

void RequireBoundedStyledSize(const Json::Value& document) {
  Size size;
  Add(document, 0, size);
  if (size.indentation > kMostIndentation &&
      size.indentation / kMostIndentationPerValue > size.values) {
    throw Json::RuntimeError("the values of the document nest too deep for its size");
  }
}

}  // namespace yox::notifications
