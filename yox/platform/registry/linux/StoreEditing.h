#pragma once

#include "yox/platform/registry/linux/Database.h"

namespace yox::platform {

// The statements of a transaction. A connection prepares them once: to prepare one costs more than
// to execute it.
struct StoreEditing {
  explicit StoreEditing(Database& database)
      : find_key(database.Prepare("SELECT id, path FROM key WHERE folded = ?")),
        add_key(
            database.Prepare("INSERT INTO key(parent, folded, path) VALUES(?, ?, ?) RETURNING id")),
        delete_values_below(database.Prepare(
            "DELETE FROM value WHERE key IN"
            " (SELECT id FROM key WHERE folded = ?1 OR (folded >= ?2 AND folded < ?3))")),
        delete_keys_below(database.Prepare(
            "DELETE FROM key WHERE folded = ?1 OR (folded >= ?2 AND folded < ?3)")),
        find_value(database.Prepare(
            "SELECT id, name, type, data FROM value WHERE key = ? AND folded = ?")),
        add_value(database.Prepare(
            "INSERT INTO value(key, folded, name, type, data) VALUES(?, ?, ?, ?, ?)")),
        set_value(database.Prepare("UPDATE value SET type = ?2, data = ?3 WHERE id = ?1")),
        delete_value(database.Prepare("DELETE FROM value WHERE id = ?")),
        add_change(database.Prepare("INSERT INTO change(action, key, name) VALUES(?, ?, ?)")),
        forget_changes(
            database.Prepare("DELETE FROM change WHERE id <= (SELECT max(id) FROM change) - ?")) {}

  Statement find_key;
  Statement add_key;
  Statement delete_values_below;
  Statement delete_keys_below;
  Statement find_value;
  Statement add_value;
  Statement set_value;
  Statement delete_value;
  Statement add_change;
  Statement forget_changes;
};

}  // namespace yox::platform
