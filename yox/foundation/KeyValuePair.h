#pragma once

#include <utility>

// A name and a text handed to the matching of tags and installed items. Built whole and read; a
// plain value.
template <class K, class V>
class KeyValuePair {
 public:
  KeyValuePair(K key, V value) : key_(std::move(key)), value_(std::move(value)) {}

  K getKey() const { return key_; }
  V getValue() const { return value_; }

  // References that live as long as the pair stands unchanged.
  const K& key() const { return key_; }
  const V& value() const { return value_; }

 private:
  K key_;
  V value_;
};
