// The machine's RAM usage, from /proc/meminfo.
#pragma once

#include "platform/variant/variant.h"

#include <string>

namespace nyx_monitor {

/// Loop thread only.
class MachineRamInfo {
public:
    explicit MachineRamInfo(std::string proc_root = "/proc");

    /// Reads /proc/meminfo and publishes the used fraction in the status
    /// record. A file that can not be opened leaves total() and counts all of
    /// it as used; a malformed figure gives false. Throws std::runtime_error
    /// when the record's semaphore can not be given back.
    bool read_mem();
    /// Reads, and makes the map "total" and "used" in kB. An empty map, and
    /// one error record, when the read fails.
    libvariant::Variant generate_ram_info_report();

    double total() const { return m_total; } ///< kB
    double used() const { return m_used; }   ///< kB

private:
    double m_total{};
    double m_used{};
    std::string m_proc_root;
};

} // namespace nyx_monitor
