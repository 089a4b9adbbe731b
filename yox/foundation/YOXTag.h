#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// A tag of the device or its user: a name, such as "Device.Hardware.Gpu.Exists", and a text, which
// is empty for a tag that says enough by being there. UTF-16. A plain value; a moved-from tag is
// empty.
class YOX_API YOXTag {
 public:
  YOXTag() = default;
  YOXTag(const yox::WString& key, const yox::WString& value) : key_(key), value_(value) {}
  YOXTag(const YOXTag&) = default;
  YOXTag& operator=(const YOXTag&) = default;
  YOXTag(YOXTag&& other) noexcept;
  YOXTag& operator=(YOXTag&& other) noexcept;
  ~YOXTag() = default;

  // Copies.
  yox::WString getKey() const { return key_; }
  yox::WString getValue() const { return value_; }
  void setKey(const yox::WString& key) { key_ = key; }
  void setValue(const yox::WString& value) { value_ = value; }

  // Views, valid until the tag is changed.
  yox::WStringView key() const { return key_; }
  yox::WStringView value() const { return value_; }

 private:
  yox::WString key_;
  yox::WString value_;
};
