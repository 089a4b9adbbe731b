#include "bindings/postgresql/Jsonb.h"

namespace yox::postgresql {
namespace {

constexpr std::uint32_t kCountMask = 0x0FFFFFFF;
constexpr std::uint32_t kHasOffset = 0x80000000;  // the end of the child is given, not its length
constexpr std::size_t kWord = sizeof(std::uint32_t);

std::uint32_t Aligned(std::uint32_t offset) { return (offset + 3) & ~std::uint32_t{3}; }

std::uint32_t EndOf(std::uint32_t entry, std::uint32_t begin) {
  const std::uint32_t number = entry & kCountMask;
  return (entry & kHasOffset) != 0 ? number : begin + number;
}

}  // namespace

JsonbNode::Container JsonbNode::Children(std::uint32_t kind) const {
  if (kind_ != Kind::kContainer || bytes_.size() < kWord) throw BadJsonb();
  const std::uint32_t header = WordAt(bytes_.data());
  if ((header & kind) == 0 || (header & kScalar) != 0) throw BadJsonb();
  const std::uint32_t count = header & kCountMask;
  const std::size_t children = kind == kObject ? std::size_t{count} * 2 : count;
  if (children > (bytes_.size() - kWord) / kWord) throw BadJsonb();
  return {bytes_.data() + kWord, bytes_.substr(kWord + children * kWord), count};
}

JsonbNode::Entries::Entries(const Container& container, std::uint32_t first)
    : container_(container), index_(first) {
  // Every 32nd entry gives its end, which ends the way back.
  for (std::uint32_t i = first; i > 0; --i) {
    const std::uint32_t entry = WordAt(container.entries + (i - 1) * kWord);
    offset_ += entry & kCountMask;
    if ((entry & kHasOffset) != 0) break;
  }
}

JsonbNode JsonbNode::Entries::Next() {
  constexpr std::uint32_t kKindShift = 28;
  const std::uint32_t entry = WordAt(container_.entries + index_++ * kWord);
  const std::uint32_t end = EndOf(entry, offset_);
  const auto kind = static_cast<Kind>(entry >> kKindShift & 7);
  std::uint32_t begin = offset_;
  if (kind == Kind::kNumber || kind == Kind::kContainer) begin = Aligned(begin);
  if (begin > end || end > container_.data.size() || kind > Kind::kContainer) throw BadJsonb();
  offset_ = end;
  return {kind, container_.data.substr(begin, end - begin)};
}

JsonbNode::Members::Members(const JsonbNode& object) : container_(object.Children(kObject)) {
  const std::uint32_t end = Entries(container_, container_.count).offset();
  if (end > container_.data.size()) throw BadJsonb();
  key_texts_ = container_.data.substr(0, end);
}

std::string_view JsonbNode::Members::KeyLengths() const {
  return {container_.entries, container_.count * kWord};
}

JsonbNode JsonbNode::Members::Value(std::uint32_t place) const {
  return Entries(container_, container_.count + place).Next();
}

// A number is a datum with its length word: a header of 16 bits, then digits of base 10000. This
// header is that of a number without sign and fraction whose first digit is that of the units.
std::optional<std::int64_t> JsonbNode::WholeNumber() const {
  constexpr std::uint16_t kOneDigit = 0x8000;
  std::uint16_t header = 0;
  std::uint16_t digit = 0;
  if (kind_ != Kind::kNumber || bytes_.size() < kWord + sizeof header) return std::nullopt;
  std::memcpy(&header, bytes_.data() + kWord, sizeof header);
  const std::size_t digits = (bytes_.size() - kWord - sizeof header) / sizeof digit;
  if (header != kOneDigit || digits > 1) return std::nullopt;
  if (digits == 1) std::memcpy(&digit, bytes_.data() + kWord + sizeof header, sizeof digit);
  return digit;
}

}  // namespace yox::postgresql
