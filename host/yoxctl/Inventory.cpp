#include "host/yoxctl/Inventory.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

bool IsPostgresql(std::string_view argument) {
  return argument.starts_with("postgresql://") || argument.starts_with("postgres://");
}

}  // namespace

bool IsDatabase(std::string_view argument) {
  return IsPostgresql(argument) || argument.ends_with(".db") || argument.ends_with(".sqlite");
}

std::string NameOfDatabase(const std::string& argument) {
  if (!IsPostgresql(argument)) return NameOf(argument);
  std::string name = argument.substr(0, argument.find('?'));
  const std::size_t begin = name.find("://") + 3;
  const std::size_t end = name.find('@', begin);
  const std::size_t password = name.find(':', begin);
  if (end != name.npos && password < end) name.erase(password, end - password);
  return OneLine(name);
}

std::unique_ptr<Inventory> OpenInventory(const std::string& argument, bool may_create) {
  return IsPostgresql(argument) ? OpenPostgresql(argument) : OpenSqlite(argument, may_create);
}

}  // namespace yoxctl
