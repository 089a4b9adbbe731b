#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "yox/decision/CompiledList.h"

namespace yox::sql {

// The filter lists that a statement has used last, compiled. For one thread at a time.
class ListCache {
 public:
  using List = std::shared_ptr<const decision::CompiledList>;

  // The list that was added with these bytes; null if it is not among the last ones.
  const List& Find(std::string_view bytes);
  // Reads the filter document `utf8`, which throws DocumentError, and keeps the list in the place
  // of the one that was added first.
  const List& Add(std::string_view bytes, std::string_view utf8);
  // For bytes that are the document.
  const List& Get(std::string_view utf8) {
    const List& found = Find(utf8);
    return found ? found : Add(utf8, utf8);
  }

 private:
  static constexpr std::size_t kCapacity = 32;

  struct Entry {
    std::string bytes;
    List list;
  };

  std::array<Entry, kCapacity> entries_;
  std::size_t last_ = 0;  // found last
  std::size_t next_ = 0;  // replaced next
};

// Whether two lists have the same filters. A list that was compiled twice is the same.
bool AreSame(const decision::CompiledList& left, const decision::CompiledList& right);

// A number by which processes recognise a list: the same for the same filters on every system.
std::uint64_t FingerprintOf(const decision::CompiledList& list);

}  // namespace yox::sql
