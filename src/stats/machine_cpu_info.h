// The machine's CPU usage, from the kernel's idle counter.
#pragma once

#include "platform/variant/variant.h"
#include "stats/machine_cpu_stats.h"
#include "utils/nyx_helper.h"

#include <cstdint>
#include <memory>
#include <string>

namespace nyx_monitor {

/// All objects share the previous reading: usage is measured between two
/// successive read_cpu() of the process. Loop thread only.
class MachineCpuInfo {
public:
    /// In dual mode, whether asked for here or of the whole process, a sampler
    /// runs. Throws std::runtime_error without cores, and what the sampler's
    /// constructor throws.
    explicit MachineCpuInfo(bool dual, std::string proc_root = "/proc",
                            std::uint64_t cores = nyx::Helper::calc_number_of_cores());

    /// Reads /proc/stat at the wall clock's `now_ms` and publishes the usage in
    /// the status record. The first read is 0 and publishes nothing, and so is
    /// one that finds CPUs added or taken away: how many there were in between
    /// is not known. False when the file can not be read. Throws std::runtime_error when the
    /// record's semaphore can not be given back.
    bool read_cpu(std::uint64_t now_ms = nyx::Helper::get_timestamp_ms());
    /// Reads, and makes the map "total", "num-of-cores", "cores" (always empty)
    /// and "cpu-stats". An empty map when the read fails.
    libvariant::Variant
    generate_cpu_info_report(std::uint64_t now_ms = nyx::Helper::get_timestamp_ms());

    /// Usage of all cores in percent, at the last read.
    double total() const { return m_total; }

private:
    libvariant::Variant serialize();
    double usage_since_previous(unsigned long long idle, double time) const;

    double m_total{};
    std::uint64_t m_num_of_cores;
    std::unique_ptr<CPUStatSampler> m_sampler; ///< may be empty
    std::string m_proc_root;

    static std::uint64_t m_previous_idle; ///< ticks
    static double m_previous_time;        ///< hundredths of a second; 0: not read yet
};

} // namespace nyx_monitor
