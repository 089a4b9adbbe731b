#pragma once

#include <cstdint>
#include <string_view>

namespace yox::sql {

// The roll-out bucket of a serial number or a realm, 0 to 4095. UTF-8.
int BucketOf(std::string_view serial_number_or_realm);

// The share of the buckets, 0 to 1, that a roll-out function has let in at a moment in seconds
// since 1970, as `yoxctl rollout` shows it for each day; days begin at midnight UTC. Throws
// DocumentError for a function that lets no device in, with the message of `yoxctl rollout`.
double ShareAt(std::string_view function, std::int64_t moment);

}  // namespace yox::sql
