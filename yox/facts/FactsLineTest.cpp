#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/facts/FactsLine.h"

// A line means what the document means to the strict reader: every fact is the same, and so is
// every message.
namespace yox::facts {
namespace {

using namespace yox::decision;

constexpr const char* kDocuments[] = {
    "{}",
    (R"({"id":"0007f3","time_zone":"Europe/Berlin","country":"DE","language":"de-DE",)"
     R"("enclosure":" Notebook ","family":"Falcon 14","mfr":"Contoso","model":"FA14-2210",)"
     R"("sku":"FALCON14-16-512","os":"Windows","os_bitness":"64",)"
     R"("os_description":"Microsoft Windows 11 Pro","os_version":"10.0.22631.4460",)"
     R"("version":" 4.2.10.0","serial_number":"C0FFEE12","realm":"Größe \ud83d\ude00\n",)"
     R"("device_subscription":["1b4e28ba","x"],)"
     R"("tags":{"Ring":"pilot"," alpha ":"é","ring":"2","\u212aelvin":"3","Änderung":"4"},)"
     R"("installed_items":[["Contoso Editor","7.1.0"],["contoso editor","7.2"]],)"
     R"("hardware_ids":["PCI\\VEN_8086&DEV_7D45"," usb "],)"
     R"("registry":{"HKLM\\SOFTWARE\\Contoso\\App\\":{"Level":"10","Gone":null},)"
     R"("hkcu\\Ä":{"":"x"}}})"),
    (R"({"id":"\u0041\\b\"","realm":"Gr\u00f6\u00dfe","tags":{"\\\\":"\/","\u212aelvin":"\n","Ring":"\""},)"
     R"("registry":{"HKLM\\SOFTWARE\\Contoso\\App\\":{"Le\\vel":"1\\2","Gone":null},)"
     R"("HKCU\\a":{"":"\t"}},"model":"@AMZ[`amz{","sku":"Z"})"),
    (R"({"firmware":false,"model":"X","sn_hash":null,"organisation_bucket":null,"tags":null,)"
     R"("device_subscription":null,"installed_items":null,"hardware_ids":null,"country":null})"),
    R"( {"rollout_bucket":7, "sn_hash":
"00112233445566778899aabbccddeeff00112233445566778899AABBCCDDEEFF", "org_hash":null,
"registry":{}, "tags":{}, "installed_items":[], "hardware_ids":[], "device_subscription":[],
"firmware":true, "time_zone":"UTC", "os":null})",
    R"({"comment":"x","id":"a","$schema":"y"})",
};

std::string Words(const TextFact& fact) {
  return std::to_string(static_cast<int>(fact.knowledge)) + "<" + String::UTF16ToUTF8(fact.given) +
         "|" + String::UTF16ToUTF8(fact.text) + ">";
}

std::string Words(const std::optional<PairView>& pair) {
  if (!pair) return "none";
  return String::UTF16ToUTF8(pair->key) + "=" + String::UTF16ToUTF8(pair->value) + ";";
}

// Everything that a decision can see of a device. Lists ask for what the record has.
std::string Words(DeviceFacts& facts, const FactsRecord& record) {
  std::string words;
  for (const FilterField field :
       {FilterField::country, FilterField::language, FilterField::enclosure, FilterField::family,
        FilterField::mfr, FilterField::model, FilterField::sku, FilterField::os,
        FilterField::os_bitness, FilterField::os_description, FilterField::sn_hash,
        FilterField::org_hash}) {
    TextFact fact = facts.Text(field);
    EXPECT_TRUE(fact.is_folded || fact.knowledge == Knowledge::kUnknown);
    words += Words(fact);
  }
  for (const FilterField field :
       {FilterField::os_version, FilterField::version, FilterField::target_version}) {
    VersionFact& version = facts.Version(field);
    words += "\n" + std::to_string(static_cast<int>(version.knowledge)) +
             String::UTF16ToUTF8(version.text.text()) +
             (version.text.Parsed() == nullptr ? "no" : "a version");
  }
  for (const bool of_organisation : {false, true}) {
    const BucketFact bucket = facts.Bucket(of_organisation);
    words += "\n" + std::to_string(static_cast<int>(bucket.knowledge)) + " " +
             std::to_string(bucket.bucket);
  }
  words += "\n" + std::to_string(facts.Today().Possible().front().day) + " " +
           std::to_string(facts.Today().Possible().back().day) + " " +
           std::to_string(facts.StartOfDay(2026, 3, 1).earliest.value_or(0)) + "\n" +
           std::to_string(static_cast<int>(facts.Subscriptions().knowledge));
  for (const WString& text : facts.Subscriptions().texts) words += String::UTF16ToUTF8(text) + ",";
  const auto pairs = [&](const PairsFact& fact, const std::optional<Pairs>& names) {
    words += "\n" + std::to_string(static_cast<int>(fact.knowledge));
    if (fact.knowledge != Knowledge::kKnown) return;
    for (const char* const list : {R"([{"tag":"*"}])", R"([{"tag":"!ring"}])"}) {
      const auto compiled = ReadFilterDocument(list).snapshot();
      const auto& step = compiled->Steps(compiled->programs()[0])[0];
      words += Words(fact.pairs->First(compiled->Terms(step)[0].key, {}));
    }
    Pairs wanted = *names;
    for (const WString& other : {"kelvin"_w, "rin"_w, "rings"_w, "änderung"_w}) {
      wanted.push_back({other, ""_w});
    }
    for (const auto& pair : wanted) {
      Filter filter;
      filter.set_tag(pair.key() + "|x"_w);
      const auto compiled = ApplicabilityFilter({filter}).snapshot();
      if (compiled->programs()[0].step_count == 0) continue;
      const auto& step = compiled->Steps(compiled->programs()[0])[0];
      if (compiled->Terms(step).empty()) continue;
      const TextPattern& name = compiled->Terms(step)[0].key;
      words += Words(fact.pairs->First(name, {}));
      words += Words(fact.pairs->First(name, {{pair.key(), {}}}));
    }
  };
  pairs(facts.Tags(), record.tags);
  pairs(facts.InstalledItems(), record.installed_items);
  const HardwareIdsFact& ids = facts.PresentHardwareIds();
  words += "\n" + std::to_string(static_cast<int>(ids.knowledge));
  if (ids.ids != nullptr) {
    for (const WString& id : ids.ids->All()) words += String::UTF16ToUTF8(id) + ",";
  }
  for (const auto& value : record.registry) {
    Filter filter;
    filter.set_registry(value.key + ":"_w + value.name + "|x"_w);
    const auto compiled = ApplicabilityFilter({filter}).snapshot();
    const auto& step = compiled->Steps(compiled->programs()[0])[0];
    if (compiled->Registry(step).empty()) continue;
    const RegistryFact fact = facts.ReadRegistry(compiled->Registry(step)[0]);
    words += "\n" + std::to_string(static_cast<int>(fact.stage)) + String::UTF16ToUTF8(fact.text);
  }
  return words;
}

// What the strict reader and the line say of a document.
struct Reading {
  std::string by_reader;
  std::string by_line;
  bool was_taken = false;
};

Reading Read(FactsLine& line, const std::string& document) {
  const Question question{1772361000, "1.0"_w, {}};
  Reading reading;
  FactsRecord record;
  try {
    record = ReadFacts(document, 3);
    const PreparedDevice device(record);
    PreparedFacts facts(device, question);
    reading.by_reader = record.id + Words(facts, record);
    reading.was_taken = true;
  } catch (const DocumentError& error) {
    reading.by_reader = error.what();
  }
  const std::string padded = document + std::string(FactsLine::kPadding, '"');
  try {
    line.Read(std::string_view(padded).substr(0, document.size()), 3);
    LineFacts facts(line, question);
    reading.by_line = std::string(line.id()) + Words(facts, record);
    LineFacts again(line, question);
    EXPECT_EQ(std::string(line.id()) + Words(again, record), reading.by_line);
  } catch (const DocumentError& error) {
    reading.by_line = error.what();
  }
  return reading;
}

TEST(FactsLine, MeansWhatTheStrictReaderReads) {
  FactsLine line;
  for (const int round : {1, 2}) {
    for (const std::string document : kDocuments) {
      const Reading reading = Read(line, document);
      EXPECT_TRUE(reading.was_taken) << reading.by_reader;
      EXPECT_EQ(reading.by_line, reading.by_reader) << round << document;
    }
  }
}

TEST(FactsLine, EditedDocumentsAreReadOrRefusedAlike) {
  constexpr int kEdits = 10000;
  constexpr std::string_view kPieces[] = {"\"",
                                          "\\",
                                          ",",
                                          ":",
                                          "{",
                                          "}",
                                          "[",
                                          "]",
                                          "null",
                                          "true",
                                          "1",
                                          "-0",
                                          "1e3",
                                          "4096",
                                          "\\ud800",
                                          "\\udc00",
                                          "\\u0000",
                                          "\\ud83d\\ude00",
                                          "\xff",
                                          "\xed\xa0\x80",
                                          "\xc3\xa9",
                                          "\xef\xbb\xbf",
                                          "\n",
                                          " ",
                                          "\x01",
                                          "\"id\":\"a\",",
                                          "\"tags\":{\"a\":\"b\",\"a\":\"c\"},",
                                          "\"os\":",
                                          "/**/",
                                          "\"serial_number\":null,"};
  std::mt19937 random(5);
  FactsLine line;
  int taken = 0;
  for (int i = 0; i < kEdits; ++i) {
    std::string document = kDocuments[random() % std::size(kDocuments)];
    for (std::uint32_t edits = 1 + random() % 2; edits > 0; --edits) {
      const std::size_t at = random() % (document.size() + 1);
      const std::size_t gone = random() % 3 == 0 ? random() % 4 : 0;
      document.replace(at, gone, random() % 4 == 0 ? "" : kPieces[random() % std::size(kPieces)]);
    }
    const Reading reading = Read(line, document);
    ASSERT_EQ(reading.by_line, reading.by_reader) << document;
    taken += reading.was_taken ? 1 : 0;
  }
  EXPECT_GT(taken, kEdits / 50) << "most edits only break the syntax";
  EXPECT_LT(taken, kEdits * 9 / 10);
}

// The parser tries the keys of the document before.
TEST(FactsLine, KeysMayComeInAnyOrder) {
  std::vector<std::string> members = {
      R"("id":"a")",      R"("os":null)",       R"("mfr" : "b")",     R"("sku":"c")",
      R"("model":"d")",   R"("realm":"e")",     R"("tags":{})",       R"("family" :"f")",
      R"("\u0069d":"g")", R"("country": "DE")", R"("language":"de")", R"("installed_items":[])"};
  std::mt19937 random(7);
  FactsLine line;
  int taken = 0;
  for (int i = 0; i < 300; ++i) {
    std::ranges::shuffle(members, random);
    std::string document = "{";
    const std::size_t count = random() % (members.size() + 1);
    for (std::size_t member = 0; member < count; ++member) {
      document += (member == 0 ? "" : ",") + members[member];
    }
    const Reading reading = Read(line, document + "}");
    ASSERT_EQ(reading.by_line, reading.by_reader) << document;
    taken += reading.was_taken ? 1 : 0;
  }
  EXPECT_GT(taken, 150);
  EXPECT_LT(taken, 290) << "id is given twice in the others";
}

// Tags are compared as UTF-8 where that shows whether they match.
TEST(FactsLine, TagsMatchAsThoseOfThePreparedDevice) {
  constexpr const char* kTags[] = {
      R"("Ring":"pilot")",     R"("ring":"Beta")",   R"(" Ring ":"x")", R"("Ring":" pilot ")",
      R"("RING":"PILOT")",     R"("rin\u0067":"1")", R"("Größe":"x")",  R"("Ring":"pilöt")",
      R"("\u212aey":"pilot")", R"("Ring":"")",       R"("":"pilot")",   R"("Rung":"pilot")",
      R"("Key":"\u212a")",     R"("Ring":"pilot@")"};
  constexpr const char* kTerms[] = {"Ring|pilot", "ring|BETA", "RING|", "ring|pil*", "r*|pilot",
                                    "GRÖSSE|x",   "größe|X",   "key|k", "key|pilot", "ring|!pilot",
                                    "ring|PILÖT", "ring|1",    "Ring",  "!ring",     "ring|pilot`"};
  FactsLine line;
  const Question question{1772361000, {}, {}};
  int applying = 0;
  for (const std::string first : kTags) {
    for (const std::string second : kTags) {
      const std::string tags = first == second ? first : first + "," + second;
      const std::string document = "{\"tags\":{" + tags + "}}";
      const std::string padded = document + std::string(FactsLine::kPadding, '"');
      FactsRecord record;
      try {
        record = ReadFacts(document);
      } catch (const DocumentError&) {
        continue;  // a name that is given twice
      }
      const PreparedDevice device(record);
      for (const std::string term : kTerms) {
        const auto list = ReadFilterDocument("[{\"tag\":\"" + term + "\"}]").snapshot();
        line.Read(std::string_view(padded).substr(0, document.size()));
        LineFacts facts(line, question);
        PreparedFacts expected(device, question);
        const Truth applies = Decide(*list, expected).applies;
        ASSERT_EQ(Decide(*list, facts).applies, applies) << document << term;
        applying += applies == Truth::kTrue ? 1 : 0;
      }
    }
  }
  EXPECT_GT(applying, 300);
}

// A device may have many tags, which must not be checked each against each.
TEST(FactsLine, TakesManyTagsAndRefusesTheSecondOfAName) {
  FactsLine line;
  std::string document = R"({"tags":{)";
  for (int i = 0; i < 500; ++i) document += "\"tag" + std::to_string(i) + "\":\"x\",";
  EXPECT_TRUE(Read(line, document + "\"last\":\"y\"}}").was_taken);
  const Reading twice = Read(line, document + "\"tag7\":\"y\"}}");
  EXPECT_FALSE(twice.was_taken);
  EXPECT_EQ(twice.by_line, twice.by_reader);
}

TEST(FactsLine, AnErrorLeavesNoDocument) {
  FactsLine line;
  const std::string good = R"({"id":"a","country":"DE"})";
  const std::string padded = good + std::string(FactsLine::kPadding, ' ');
  line.Read(std::string_view(padded).substr(0, good.size()));
  EXPECT_EQ(line.id(), "a");
  EXPECT_NE(Read(line, R"({"id":"b","county":"DE"})").by_line.find("county"), std::string::npos);
  EXPECT_EQ(line.id(), "");
}

// Zones are read once, and the start of a day that was asked for last is kept with its zone.
TEST(FactsLine, ADayBeginsAsInTheZoneOfEachDocument) {
  FactsLine line;
  const Question question{1772361000, {}, {}};
  for (const int day : {1, 2, 1}) {
    for (const char* const zone : {"Europe/Berlin", "Europe/Dublin", "UTC", "+01:00", "+02:00", "",
                                   "Europe/Berlin", "America/Vancouver"}) {
      const std::string document =
          *zone == '\0' ? "{}" : R"({"time_zone":")" + std::string(zone) + "\"}";
      const std::string padded = document + std::string(FactsLine::kPadding, ' ');
      line.Read(std::string_view(padded).substr(0, document.size()));
      const PreparedDevice device(ReadFacts(document));
      for (const int month : {3, 7, 3}) {
        LineFacts facts(line, question);
        PreparedFacts expected(device, question);
        const DayStart start = facts.StartOfDay(2026, month, day);
        EXPECT_EQ(start.earliest, expected.StartOfDay(2026, month, day).earliest) << zone << month;
        EXPECT_EQ(start.latest, expected.StartOfDay(2026, month, day).latest) << zone << month;
      }
    }
  }
}

// So many that those that were read are forgotten, with what was kept of where they were.
TEST(FactsLine, MoreZonesMayBeReadThanAreKept) {
  FactsLine line;
  const auto check = [&](const std::string& zone) {
    const Reading reading = Read(line, R"({"time_zone":")" + zone + "\"}");
    ASSERT_EQ(reading.by_line, reading.by_reader) << zone;
  };
  for (int round = 0; round < 2; ++round) {
    for (const char* const zone : {"Europe/Berlin", "America/Vancouver", "UTC"}) check(zone);
    for (int i = 0; i < 4200; ++i) check("Nowhere/" + std::to_string(i));
  }
}

TEST(FactsLine, SerialNumbersAreHashedAsTheReaderHashesThem) {
  FactsLine line;
  const Reading reading = Read(line, R"({"serial_number":"C0FFEE12","realm":"contoso"})");
  EXPECT_EQ(reading.by_line, reading.by_reader);
  EXPECT_NE(reading.by_line.find(String::UTF16ToUTF8(SaltedHashOf("C0FFEE12"_w))),
            std::string::npos);
}

}  // namespace
}  // namespace yox::facts
