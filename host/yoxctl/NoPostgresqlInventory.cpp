#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

// For builds without libpq.
namespace yoxctl {

std::unique_ptr<Inventory> OpenPostgresql(const std::string& url) {
  throw Refusal(NameOfDatabase(url) + ": this yoxctl was built without PostgreSQL");
}

}  // namespace yoxctl
