#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

// For builds without SQLite.
namespace yoxctl {

std::unique_ptr<Inventory> OpenSqlite(const std::string& file, bool /*may_create*/) {
  throw Refusal(NameOfDatabase(file) + ": this yoxctl was built without SQLite");
}

}  // namespace yoxctl
