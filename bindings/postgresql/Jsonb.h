#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

// Reads jsonb values in the binary form in which PostgreSQL keeps them (utils/jsonb.h), without
// calling the server. The form has been the same since jsonb exists; databases that pg_upgrade
// moves rely on it.
namespace yox::postgresql {

// The value is not what was expected. Its message is made by reading the value as text: see
// ReadFacts.
class BadJsonb : public std::exception {};

// A value. A view: the bytes must outlive it.
class JsonbNode {
 public:
  // A datum without its length word; 4-byte aligned, as the server gives it.
  static JsonbNode Root(const void* bytes, std::size_t size) {
    return {Kind::kContainer, {static_cast<const char*>(bytes), size}};
  }

  bool IsNull() const { return kind_ == Kind::kNull; }
  bool IsString() const { return kind_ == Kind::kString; }
  bool IsBool() const { return kind_ == Kind::kFalse || kind_ == Kind::kTrue; }
  bool IsContainer() const { return kind_ == Kind::kContainer; }
  bool Bool() const { return kind_ == Kind::kTrue; }
  std::string_view Text() const { return bytes_; }
  // 0 to 9999; std::nullopt for every other number, and for what is no number.
  std::optional<std::int64_t> WholeNumber() const;

  // In the order of jsonb: shorter keys first, then by bytes.
  template <class Visit>
  void ForEachMember(Visit visit) const {
    const Container container = Children(kObject);
    // Keys come first, then the values in the same order.
    Entries keys(container, 0);
    Entries values(container, container.count);
    for (std::uint32_t i = 0; i < container.count; ++i) {
      const std::string_view key = keys.Next().Text();
      visit(key, values.Next());
    }
  }
  template <class Visit>
  void ForEachElement(Visit visit) const {
    const Container container = Children(kArray);
    Entries elements(container, 0);
    for (std::uint32_t i = 0; i < container.count; ++i) visit(elements.Next());
  }

  class Members;

  void Require(bool condition, std::string_view /*kind*/) const {
    if (!condition) throw BadJsonb();
  }
  [[noreturn]] void Fail(std::string_view /*what*/) const { throw BadJsonb(); }

 private:
  enum class Kind : std::uint8_t { kString, kNumber, kFalse, kTrue, kNull, kContainer };

  static constexpr std::uint32_t kScalar = 0x10000000;
  static constexpr std::uint32_t kObject = 0x20000000;
  static constexpr std::uint32_t kArray = 0x40000000;

  struct Container {
    const char* entries;
    std::string_view data;
    std::uint32_t count;
  };

  // The children of a container one after the other.
  class Entries {
   public:
    Entries(const Container& container, std::uint32_t first);
    JsonbNode Next();
    std::uint32_t offset() const { return offset_; }

   private:
    const Container& container_;
    std::uint32_t index_;
    std::uint32_t offset_ = 0;
  };

  JsonbNode(Kind kind, std::string_view bytes) : bytes_(bytes), kind_(kind) {}

  static std::uint32_t WordAt(const char* place) {
    std::uint32_t word = 0;
    std::memcpy(&word, place, sizeof word);
    return word;
  }
  Container Children(std::uint32_t kind) const;

  std::string_view bytes_;
  Kind kind_;
};

// The members of an object by their place, in the order of jsonb. Throws BadJsonb for what is none.
class JsonbNode::Members {
 public:
  explicit Members(const JsonbNode& object);

  // Two objects have the same keys if both are equal.
  std::string_view KeyLengths() const;
  std::string_view KeyTexts() const { return key_texts_; }

  JsonbNode Value(std::uint32_t place) const;

 private:
  Container container_;
  std::string_view key_texts_;
};

}  // namespace yox::postgresql
