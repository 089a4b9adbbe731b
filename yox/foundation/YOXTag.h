#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// A tag: a name and a text, the text often "true" or "false", or empty for a tag that is only
// there. A plain value; a moved-from tag is empty.
class YOX_API YOXTag {
 public:
  YOXTag() = default;
  YOXTag(const YOX::WString& key, const YOX::WString& value) : key_(key), value_(value) {}
  YOXTag(const YOXTag&) = default;
  YOXTag& operator=(const YOXTag&) = default;
  YOXTag(YOXTag&& other) noexcept;
  YOXTag& operator=(YOXTag&& other) noexcept;
  ~YOXTag() = default;

  YOX::WString getKey() const { return key_; }
  YOX::WString getValue() const { return value_; }
  void setKey(const YOX::WString& key) { key_ = key; }
  void setValue(const YOX::WString& value) { value_ = value; }

  // Views that live as long as the tag stands unchanged.
  YOX::WStringView key() const { return key_; }
  YOX::WStringView value() const { return value_; }

 private:
  YOX::WString key_;
  YOX::WString value_;
};
