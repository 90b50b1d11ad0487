// The status record that the agent publishes to other local processes.
#pragma once

#include "utils/shared_object.h"

#include <cstdint>
#include <functional>
#include <string>

class SupLogger;

namespace nyx_utils {

/// Read and written under the record's semaphore only.
struct NyxStatusData {
    static constexpr std::uint32_t current_layout = 1;

    std::uint32_t layout;     ///< current_layout
    std::int32_t writer_pid;  ///< last writer
    std::int64_t written_at;  ///< last write, seconds since 1970
    double max_fd_ratio;      ///< largest open descriptors / limit of a monitored process
    double cpu_usage;         ///< machine, percent
    double ram_usage;         ///< machine, fraction 0 to 1
    std::uint32_t icmp_drops; ///< packets dropped by the ICMP flood chain
    std::uint32_t syn_drops;  ///< packets dropped by the SYN rate limit
};

/// The process-wide record under the version text's name; made on first use.
/// Throws std::runtime_error when it can not be opened.
SharedObject<NyxStatusData>& status_record();

/// Takes the record's semaphore, lets `write` fill its fields, stamps it with
/// this process's id and the time, and gives the semaphore back. With shared
/// memory off: one debug record and nothing else. A record that can not be had
/// is logged through `logger` under the operation's name `caller`. Throws
/// std::runtime_error when the semaphore can not be given back.
void publish_status(SupLogger& logger, const std::string& caller,
                    const std::function<void(NyxStatusData&)>& write);

} // namespace nyx_utils
