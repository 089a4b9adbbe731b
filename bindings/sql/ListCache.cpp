#include "bindings/sql/ListCache.h"

#include <algorithm>
#include <utility>

#include "yox/decision/FilterDocument.h"

namespace yox::sql {

const ListCache::List& ListCache::Find(std::string_view bytes) {
  static const List none;
  for (std::size_t i = 0; i < kCapacity; ++i) {
    const std::size_t index = (last_ + i) % kCapacity;
    const Entry& entry = entries_[index];
    if (entry.list == nullptr || entry.bytes != bytes) continue;
    last_ = index;
    return entry.list;
  }
  return none;
}

const ListCache::List& ListCache::Add(std::string_view bytes, std::string_view utf8) {
  Entry entry{std::string(bytes), decision::ReadFilterDocument(utf8).snapshot()};
  entries_[next_] = std::move(entry);
  last_ = std::exchange(next_, (next_ + 1) % kCapacity);
  return entries_[last_].list;
}

bool AreSame(const decision::CompiledList& left, const decision::CompiledList& right) {
  if (&left == &right) return true;
  return std::ranges::equal(left.filters(), right.filters(), [](const Filter& a, const Filter& b) {
    for (std::size_t i = 0; i < decision::kFilterFieldCount; ++i) {
      const auto field = static_cast<FilterField>(i);
      if (a.View(field) != b.View(field)) return false;
    }
    return true;
  });
}

// FNV-1a over the units of all texts, each followed by a unit that no text needs.
std::uint64_t FingerprintOf(const decision::CompiledList& list) {
  std::uint64_t hash = 0xCBF29CE484222325;
  const auto add = [&](std::uint64_t unit) { hash = (hash ^ unit) * 0x100000001B3; };
  for (const Filter& filter : list.filters()) {
    for (std::size_t i = 0; i < decision::kFilterFieldCount; ++i) {
      for (const WChar unit : filter.View(static_cast<FilterField>(i))) {
        add(static_cast<std::uint16_t>(unit));
      }
      add(0x10000);
    }
  }
  return hash;
}

}  // namespace yox::sql
