#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "yox/decision/Funnel.h"
#include "yox/decision/ListDays.h"
#include "yox/decision/PreparedDevice.h"

namespace yoxctl {

// A fleet's inventory in a database (docs/sql.md): the table `devices` with the facts of each
// device. For one thread at a time. Every function throws Refusal for what the database refuses.
class Inventory {
 public:
  virtual ~Inventory() = default;

  struct Device {
    std::string id;
    std::string facts;  // the document, with its `id`
  };

  // Creates what is missing of the schema.
  virtual void CreateSchema() = 0;

  // How many devices of this source an import that was not completed has stored.
  virtual std::uint64_t DevicesStoredOf(const std::string& source) = 0;
  // Stores the devices, by id, and that so many of the source are stored now: both or neither. When
  // it returns, both remain though the server or this program is killed.
  virtual void Store(const std::string& source, const std::vector<Device>& devices,
                     std::uint64_t devices_stored) = 0;
  // The import of the source is complete: the next one starts from the beginning.
  virtual void Complete(const std::string& source) = 0;

  // Begins to read all devices, by id.
  virtual void BeginDevices() = 0;
  // The next one's facts; false at the end.
  virtual bool NextFacts(std::string& facts) = 0;

  // The funnel of a list, counted in the database; std::nullopt when it cannot decide.
  virtual std::optional<yox::decision::Funnel> Count(const std::string& list,
                                                     const yox::decision::Question& question) = 0;
  // The counts of a list on each day of the span, made in the database as yox.rollout returns them:
  // devices, and for each day those that it applies to and the undetermined; std::nullopt when it
  // cannot decide.
  virtual std::optional<std::vector<std::uint64_t>> CountDays(
      const std::string& list, const yox::decision::DaySpan& span,
      const yox::decision::Question& question) = 0;
  // The funnel of the list `before`, counted in the database, which calls `visit` with the facts of
  // each device, by id, for which the list `after` decides otherwise, undetermined included. Both
  // see one state of the table. std::nullopt when the database cannot decide.
  virtual std::optional<yox::decision::Funnel> Compare(
      const std::string& before, const std::string& after, const yox::decision::Question& question,
      const std::function<void(const std::string& facts)>& visit) = 0;
};

// Whether a source or target names a database: postgresql://..., or a file *.db or *.sqlite.
bool IsDatabase(std::string_view argument);

// What messages call the database: the argument without a password.
std::string NameOfDatabase(const std::string& argument);

// Connects to the database; one in a file is created when `may_create`. Throws Refusal.
std::unique_ptr<Inventory> OpenInventory(const std::string& argument, bool may_create);

// Each is in a file of its own; a system without the database has one that throws Refusal.
std::unique_ptr<Inventory> OpenPostgresql(const std::string& url);
std::unique_ptr<Inventory> OpenSqlite(const std::string& file, bool may_create);

}  // namespace yoxctl
