#pragma once

#include <utility>

// A key and a value, in the form in which tags and installed items are handed to the evaluator's
// matching. It is built whole and then only read. A plain value.
template <class K, class V>
class KeyValuePair {
 public:
  KeyValuePair(K key, V value) : key_(std::move(key)), value_(std::move(value)) {}

  // Copies.
  K getKey() const { return key_; }
  V getValue() const { return value_; }

  // References, valid until the pair is assigned to or destroyed.
  const K& key() const { return key_; }
  const V& value() const { return value_; }

 private:
  K key_;
  V value_;
};
