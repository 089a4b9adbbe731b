#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "yox/decision/Dates.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Facts.h"

// The meaning of a facts document, independent of the parser that read it and of the form in which
// the facts are kept.
namespace yox::decision {

inline constexpr std::size_t kHashDigits = 64;

// Walks the document of one device, checks every value and hands each fact to the sink once, in the
// document's order.
//
// A Node is a value of the document: IsNull, IsString, IsBool; Text and Bool, valid after these;
// WholeNumber, which is std::nullopt for anything else; ForEachMember(visit(key, node)) and
// ForEachElement(visit(node)), in the document's order, which fail for another kind of value;
// Require(condition, kind), Fail(what) and FailUnknownKey(known keys), which throw; IsRemark, as
// JsonNode has it. Nodes are passed by value or reference and
// texts are UTF-8 views that live as long as the document. StrictNode is one.
//
// A Sink has Id, Text, NoFirmware, HashedText, Hash, Bucket, Subscription, Tag, Item, HardwareId
// and RegistryValue, as they are called below; Begin(fact, knowledge) comes before the members of a
// list; TimeZone returns whether the text names one.
template <class Node, class Sink>
class FactsReading {
 public:
  explicit FactsReading(Sink& sink) : sink_(sink) {}

  void Read(const Node& root) {
    root.ForEachMember(
        [&](std::string_view key, const Node& node) { ReadMember(FactIndexOfKey(key), node); });
    End();
  }

  // The parts of Read, for callers that look up the keys themselves: a member by FactIndexOfKey of
  // its key, and what comes after the last one.
  void ReadMember(std::size_t index, const Node& node) {
    if (index == kDocumentKeys.size()) {
      if (node.IsRemark()) return;
      node.FailUnknownKey(kDocumentKeys);
    }
    const auto fact = static_cast<Fact>(index);
    if (Saw(fact)) node.Fail("the key is given twice");
    seen_ |= Bit(fact);
    ReadFact(fact, node);
  }
  void End() {
    // Once all texts are there: what the device has none of does not depend on the order of keys.
    if (no_firmware_) sink_.NoFirmware();
  }

  // The keys that the document has, one bit each by Fact, for callers that read single facts.
  void NoteKeys(std::uint32_t keys) { seen_ |= keys; }

  // Reads the value of one fact.
  void ReadFact(Fact fact, const Node& node) {
    switch (FormOf(fact)) {
      case FactForm::kId:
        return sink_.Id(StringOf(node));
      case FactForm::kTimeZone:
        if (!sink_.TimeZone(StringOf(node))) {
          node.Fail("expected a time zone such as \"Europe/Berlin\" or \"+01:00\", found \"" +
                    std::string(node.Text()) + "\"");
        }
        return;
      case FactForm::kText:
      case FactForm::kFirmwareText:
        return sink_.Text(FieldOf(fact), StringOrNull(node).value_or(std::string_view()));
      case FactForm::kFirmware:
        node.Require(node.IsBool(), "true or false");
        no_firmware_ = !node.Bool();
        return;
      case FactForm::kHashedText:
      case FactForm::kHash:
      case FactForm::kBucket:
        return ReadHashed(fact, node);
      case FactForm::kTexts:
        return ReadList(fact, node,
                        [&](const Node& element) { sink_.Subscription(StringOf(element)); });
      case FactForm::kIds:
        return ReadList(fact, node,
                        [&](const Node& element) { sink_.HardwareId(StringOf(element)); });
      case FactForm::kItems:
        return ReadList(fact, node, [&](const Node& element) { ReadItem(element); });
      case FactForm::kTags:
        sink_.Begin(fact, node.IsNull() ? Knowledge::kMissing : Knowledge::kKnown);
        if (node.IsNull()) return;
        return node.ForEachMember(
            [&](std::string_view name, const Node& tag) { sink_.Tag(name, StringOf(tag)); });
      case FactForm::kRegistry:
        return node.ForEachMember(
            [&](std::string_view key, const Node& values) { ReadKey(key, values); });
      case FactForm::kOfTheQuestion:
        return;
    }
  }

 private:
  static constexpr std::uint32_t Bit(Fact fact) {
    return std::uint32_t{1} << static_cast<unsigned>(fact);
  }
  bool Saw(Fact fact) const { return (seen_ & Bit(fact)) != 0; }

  static std::string_view StringOf(const Node& node) {
    node.Require(node.IsString(), "a string");
    return node.Text();
  }
  // Of what may be missing; std::nullopt for null.
  static std::optional<std::string_view> StringOrNull(const Node& node) {
    if (node.IsString()) return node.Text();
    node.Require(node.IsNull(), "a string or null");
    return std::nullopt;
  }

  // A hash, its bucket, and the text that both are computed from, which is not given beside them.
  void ReadHashed(Fact fact, const Node& node) {
    const bool is_realm = fact >= Fact::realm;
    const Fact text = is_realm ? Fact::realm : Fact::serial_number;
    const Fact hash = is_realm ? Fact::org_hash : Fact::sn_hash;
    const Fact bucket = is_realm ? Fact::organisation_bucket : Fact::rollout_bucket;
    if (Saw(text) && (Saw(hash) || Saw(bucket))) {
      node.Fail("expected \"" + std::string(NameOf(text)) +
                "\" or its hash and bucket, found both");
    }
    if (fact == text) return sink_.HashedText(is_realm, StringOrNull(node));
    if (fact == hash) {
      const auto digits = StringOrNull(node);
      if (digits && (digits->size() != kHashDigits ||
                     digits->find_first_not_of("0123456789abcdefABCDEF") != digits->npos)) {
        node.Fail("expected 64 hexadecimal digits, found \"" + std::string(*digits) + "\"");
      }
      return sink_.Hash(is_realm, digits);
    }
    if (node.IsNull()) return sink_.Bucket(is_realm, std::nullopt);
    const std::optional<std::int64_t> number = node.WholeNumber();
    node.Require(number.has_value() && *number >= 0 && *number <= kLastBucket,
                 "a whole number from 0 to 4095");
    sink_.Bucket(is_realm, static_cast<int>(*number));
  }

  template <class ReadElement>
  void ReadList(Fact fact, const Node& node, ReadElement read) {
    sink_.Begin(fact, node.IsNull() ? Knowledge::kMissing : Knowledge::kKnown);
    if (!node.IsNull()) node.ForEachElement(read);
  }

  void ReadItem(const Node& node) {
    std::string_view texts[2];
    std::size_t count = 0;
    node.ForEachElement([&](const Node& text) {
      if (count == 2) node.Fail("expected a name and a version, found more");
      texts[count++] = StringOf(text);
    });
    if (count != 2) node.Fail("expected a name and a version, found fewer");
    sink_.Item(texts[0], texts[1]);
  }

  void ReadKey(std::string_view key, const Node& values) {
    if (!BeginsWithHive(key)) {
      values.Fail("expected a key that begins with HKLM\\ or HKCU\\");
    }
    values.ForEachMember([&](std::string_view name, const Node& value) {
      sink_.RegistryValue(key, name, StringOrNull(value));
    });
  }

  static bool BeginsWithHive(std::string_view key) {
    constexpr std::string_view kHives[] = {"hklm\\", "hkcu\\"};
    const auto fold = [](char letter) {
      return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    };
    return std::ranges::any_of(kHives, [&](std::string_view hive) {
      return std::ranges::equal(key.substr(0, hive.size()), hive, {}, fold);
    });
  }

  Sink& sink_;
  std::uint32_t seen_ = 0;
  bool no_firmware_ = false;
};

}  // namespace yox::decision
