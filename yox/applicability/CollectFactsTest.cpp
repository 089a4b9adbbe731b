#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/String.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

namespace {

using YOX::String;
using yox::applicability::SimulatedProcess;
using yox::decision::FactsRecord;
using yox::decision::FilterField;
using yox::decision::Knowledge;
using yox::decision::ReadFilterDocument;

TEST(CollectFactsTest, HasTheRegistryValuesThatTheListsRequire) {
  const SimulatedProcess process(yox::platform::ReadDeviceProfile(R"({"registry": {
    "HKLM\\SOFTWARE\\Contoso\\App": {
      "Channel": {"type": "REG_SZ", "data": "beta"},
      "Level": {"type": "REG_DWORD", "data": 10},
      "Secret": {"type": "REG_SZ", "data": "x"}}}})"));
  const std::vector<ApplicabilityFilter> lists = {
      ReadFilterDocument(R"([{"registry": "HKLM\\SOFTWARE\\Contoso\\App:Level|11"}])"),
      ReadFilterDocument(R"([{"registry": "HKLM/SOFTWARE/Contoso/App:Channel|x,HKLM\\A:Gone|"}])")};
  const FactsRecord record =
      ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts(std::span(lists));
  std::string found;
  for (const FactsRecord::RegistryValue& value : record.registry) {
    found += String::UTF16ToUTF8(value.key) + ":" + String::UTF16ToUTF8(value.name) + " " +
             (value.text ? String::UTF16ToUTF8(*value.text) : "-") + "\n";
  }
  EXPECT_EQ(found,
            "HKLM\\SOFTWARE\\Contoso\\App:Level 10\n"
            "HKLM\\SOFTWARE\\Contoso\\App:Channel beta\n"
            "HKLM\\A:Gone -\n");
}

TEST(CollectFactsTest, WithoutFirmwareTablesTheirTextsAloneAreMissing) {
  const SimulatedProcess process(yox::platform::ReadDeviceProfile("{}"));
  FactsRecord record = ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts({});
  for (const FilterField field : {FilterField::country, FilterField::language,
                                  FilterField::os_description, FilterField::os_version}) {
    EXPECT_EQ(record.text(field).knowledge, Knowledge::kKnown) << static_cast<int>(field);
  }
  for (const FilterField field : {FilterField::enclosure, FilterField::family, FilterField::mfr,
                                  FilterField::model, FilterField::sku}) {
    EXPECT_EQ(record.text(field).knowledge, Knowledge::kMissing) << static_cast<int>(field);
  }
}

}  // namespace
