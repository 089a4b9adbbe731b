#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "yox/base/FoldedText.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"

// A key and a value, in the form in which tags and installed items are handed to the evaluator's
// matching. It is built whole and then only read. A plain value.
template <class K, class V>
class KeyValuePair {
 public:
  KeyValuePair(K key, V value)
      : key_(std::move(key)),
        value_(std::move(value)),
        key_fingerprint_(FingerprintOf(key_)),
        value_fingerprint_(FingerprintOf(value_)) {}

  // Copies.
  K getKey() const { return key_; }
  V getValue() const { return value_; }

  // References, valid until the pair is assigned to or destroyed.
  const K& key() const { return key_; }
  const V& value() const { return value_; }

  // Fingerprints (FoldedText.h) of the texts that were given, without surrounding white space: most
  // pairs that are searched for a key need not be read. 0 for other types. A pair that has been
  // moved from keeps them.
  std::uint64_t key_fingerprint() const { return key_fingerprint_; }
  std::uint64_t value_fingerprint() const { return value_fingerprint_; }

 private:
  template <class Text>
  static std::uint64_t FingerprintOf(const Text& text) {
    if constexpr (std::is_same_v<Text, yox::WString>) {
      return yox::Fingerprint(YOX::String::Trimmed(text));
    } else {
      return 0;
    }
  }

  K key_;
  V value_;
  std::uint64_t key_fingerprint_;
  std::uint64_t value_fingerprint_;
};
