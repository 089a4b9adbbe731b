#include "bindings/sqlite/Arguments.h"

#include <ctime>

#include "yox/base/Moment.h"
#include "yox/base/String.h"

namespace yox::sqlite {

std::string_view TextOf(sqlite3_value* value) {
  if (IsNull(value)) return {};
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (text == nullptr) throw std::bad_alloc();
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

sql::ListCache::List ListOf(sqlite3_value* value, sql::ListCache& cache) {
  return NamingArgument("list", [&] { return cache.Get(TextOf(value)); });
}

const facts::FactsLine& FactsArgument::Read(sqlite3_value* value) {
  const std::string_view utf8 = TextOf(value);
  text_.assign(utf8).append(facts::FactsLine::kPadding, ' ');
  NamingArgument("facts", [&] { line_.Read(std::string_view(text_).substr(0, utf8.size())); });
  return line_;
}

std::int64_t MomentOf(sqlite3_value* at) {
  if (at == nullptr) return std::time(nullptr);
  return NamingArgument("at", [&] { return yox::ReadMoment(TextOf(at)); });
}

decision::Question QuestionOf(sqlite3_value* at, sqlite3_value* target_version) {
  decision::Question question{MomentOf(at)};
  if (target_version != nullptr && !IsNull(target_version)) {
    question.target_version = String::UTF8ToUTF16(TextOf(target_version));
  }
  return question;
}

}  // namespace yox::sqlite
