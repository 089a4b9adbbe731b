// Reading a fleet's facts documents, and deciding a list on each, beside a program that only parses
// the same text with simdjson, line by line and as a stream of documents. The fleet is the
// example's, repeated, or the .jsonl file that YOX_FACTS_FILE names, whose decisions are of the
// example's list.

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/facts/FactsLine.h"

#include "bench/Ratios.h"

namespace {

using yox::decision::Truth;
using yox::facts::FactsLine;
using yox::facts::LineFacts;

constexpr int kRepeated = 100;                // so that the text is not in a cache
constexpr std::int64_t kMoment = 1772361000;  // 2026-03-01

std::string FileText(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) std::abort();
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Fleet {
  Fleet() {
    const std::string folder = YOX_EXAMPLES "/fleet/";
    const char* const file = std::getenv("YOX_FACTS_FILE");
    const std::string text = FileText(file != nullptr ? file : folder + "devices.jsonl");
    for (int i = 0; i < (file != nullptr ? 1 : kRepeated); ++i) lines += text;
    size = lines.size();
    lines.append(FactsLine::kPadding, ' ');
    list = yox::decision::ReadFilterDocument(FileText(folder + "list-1.json"));
  }

  std::string lines;  // with padding
  std::size_t size = 0;
  ApplicabilityFilter list;
};

const Fleet& TheFleet() {
  static const Fleet fleet;
  return fleet;
}

// Reads all lines in each round. Of several threads each has a part of its own.
template <class ReadLine>
void EachLine(benchmark::State& state, ReadLine read) {
  const Fleet& fleet = TheFleet();
  const std::string_view all = std::string_view(fleet.lines).substr(0, fleet.size);
  const auto threads = static_cast<std::size_t>(state.threads());
  const auto part = static_cast<std::size_t>(state.thread_index());
  const auto cut = [&](std::size_t at) {
    return at == 0 ? 0 : at >= all.size() ? all.size() : all.find('\n', at) + 1;
  };
  const std::size_t begin = cut(all.size() / threads * part);
  const std::size_t end = part + 1 == threads ? all.size() : cut(all.size() / threads * (part + 1));
  std::int64_t lines = 0;
  for (auto _ : state) {
    for (std::size_t at = begin; at < end; ++lines) {
      const std::size_t stop = all.find('\n', at);
      read(all.substr(at, stop - at));
      at = stop + 1;
    }
  }
  state.SetItemsProcessed(lines);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(end - begin));
}

void ParseEachLine(benchmark::State& state) {
  simdjson::dom::parser parser;
  EachLine(state, [&](std::string_view line) {
    if (parser.parse(line.data(), line.size(), false).error() != simdjson::SUCCESS) std::abort();
  });
}
BENCHMARK(ParseEachLine)->UseRealTime()->Unit(benchmark::kMillisecond);

// What a program does that looks at each value that it parsed.
std::size_t Visited(simdjson::dom::element value) {
  std::size_t bytes = 0;
  switch (value.type()) {
    case simdjson::dom::element_type::OBJECT: {
      const simdjson::dom::object members = value.get_object().value_unsafe();
      for (const auto& [key, member] : members) bytes += key.size() + Visited(member);
      break;
    }
    case simdjson::dom::element_type::ARRAY: {
      const simdjson::dom::array elements = value.get_array().value_unsafe();
      for (const auto element : elements) bytes += Visited(element);
      break;
    }
    case simdjson::dom::element_type::STRING:
      bytes = value.get_string().value_unsafe().size();
      break;
    default:
      bytes = 1;
  }
  return bytes;
}

void ParseAndVisitEachLine(benchmark::State& state) {
  simdjson::dom::parser parser;
  EachLine(state, [&](std::string_view line) {
    simdjson::dom::element document;
    if (parser.parse(line.data(), line.size(), false).get(document) != simdjson::SUCCESS) {
      std::abort();
    }
    benchmark::DoNotOptimize(Visited(document));
  });
}
BENCHMARK(ParseAndVisitEachLine)->UseRealTime()->Unit(benchmark::kMillisecond);

void ParseStream(benchmark::State& state) {
  const Fleet& fleet = TheFleet();
  simdjson::dom::parser parser;
  std::int64_t documents = 0;
  for (auto _ : state) {
    simdjson::dom::document_stream stream;
    if (parser.parse_many(fleet.lines.data(), fleet.size, simdjson::dom::DEFAULT_BATCH_SIZE)
            .get(stream) != simdjson::SUCCESS) {
      std::abort();
    }
    for (auto document : stream) {
      if (document.error() != simdjson::SUCCESS) std::abort();
      ++documents;
    }
  }
  state.SetItemsProcessed(documents);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fleet.size));
}
BENCHMARK(ParseStream)->UseRealTime()->Unit(benchmark::kMillisecond);

void Read(benchmark::State& state) {
  FactsLine facts;
  EachLine(state, [&](std::string_view line) {
    facts.Read(line);
    benchmark::DoNotOptimize(facts.id().data());
  });
}
BENCHMARK(Read)->UseRealTime()->Unit(benchmark::kMillisecond);

void ReadAndDecide(benchmark::State& state) {
  const ApplicabilityFilter::Lease list(TheFleet().list);
  const yox::decision::Question question{kMoment, {}, {}};
  FactsLine line_facts;
  std::int64_t applying = 0;
  EachLine(state, [&](std::string_view line) {
    line_facts.Read(line);
    LineFacts facts(line_facts, question);
    applying += Decide(*list, facts).applies == Truth::kTrue ? 1 : 0;
  });
  if (applying == 0) state.SkipWithError("no device gets the list");
}
BENCHMARK(ReadAndDecide)->UseRealTime()->Unit(benchmark::kMillisecond)->ThreadRange(1, 2);

// The whole document as a value, for decisions on many lists.
void ReadRecord(benchmark::State& state) {
  EachLine(state, [&](std::string_view line) {
    const yox::decision::PreparedDevice device(yox::decision::ReadFacts(line));
    benchmark::DoNotOptimize(&device);
  });
}
BENCHMARK(ReadRecord)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"reading, to parsing each line", "Read/real_time", "ParseEachLine/real_time"},
       {"reading and deciding, to parsing each line (at most 2)",
        "ReadAndDecide/real_time/threads:1", "ParseEachLine/real_time"},
       {"reading and deciding, to parsing each line and visiting its values",
        "ReadAndDecide/real_time/threads:1", "ParseAndVisitEachLine/real_time"},
       {"reading and deciding, to parsing a stream", "ReadAndDecide/real_time/threads:1",
        "ParseStream/real_time"},
       {"reading and deciding in two threads, to parsing each line in one",
        "ReadAndDecide/real_time/threads:2", "ParseEachLine/real_time"},
       {"reading into a record, to parsing each line", "ReadRecord/real_time",
        "ParseEachLine/real_time"}});
}
