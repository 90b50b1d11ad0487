// The status record that the agent publishes to other local processes.
#pragma once

#include "platform/shared_memory/shared_object.h"
#include "text/result.h"

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

/// A record that nobody has written for longer says nothing of the machine.
constexpr std::int64_t status_fresh_seconds = 60;

/// The process-wide record; made at the first call, which settles its name.
/// Empty: the version text. Throws std::runtime_error when it can not be
/// opened.
SharedObject<NyxStatusData>& status_record(const std::string& name = {});

/// Takes the record's semaphore, lets `write` fill its fields, stamps it with
/// this process's id and the time, and gives the semaphore back. With shared
/// memory off: one debug record and nothing else. A record that can not be had
/// is logged through `logger`, after the name of the `operation`; writers of
/// the machine's inventory give none, and their records then name the record's
/// type in place of the object's. Throws std::runtime_error when the semaphore
/// can not be given back.
void publish_status(SupLogger& logger, const std::string& operation,
                    const std::function<void(NyxStatusData&)>& write);

/// A copy of the record `name`, as another process has published it. Makes
/// none, and waits for its semaphore a second at most. There may be none, or it
/// may be locked or of another layout.
text::Result<NyxStatusData> read_status(const std::string& name);

} // namespace nyx_utils
