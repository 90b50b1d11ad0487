// The machine's identity, CPU and RAM for the health report.
#pragma once

#include "common/reconfigure.h"
#include "platform/variant/variant.h"
#include "stats/machine_cpu_info.h"
#include "stats/machine_ram_info.h"

#include <string>

namespace nyx_monitor {

/// Loop thread only.
class MachineInfo : public nyx::IReconfigure {
public:
    /// Reads the identity and follows reloads of the current configuration
    /// from now on. It never unregisters: it must live as long as that
    /// configuration is reloaded. Throws what MachineCpuInfo's does.
    explicit MachineInfo(bool dual, const std::string& proc_root = "/proc");

    /// Always; `enabled` stays as it is.
    bool need_reconf(bool& enabled) override;
    void reconfigure() override;
    /// Reads the identity again; what is not configured makes both "N/A".
    void update_params();

    /// A map: "id" and "ip_address".
    libvariant::Variant generate_machine_info_id_report() const;
    /// The same with "cpu" and "ram"; see their classes. Unless the node is
    /// quiet, also logs the TCP memory, and throws what that throws.
    libvariant::Variant generate_machine_info_report();
    /// Logs the kernel's TCP memory in bytes, from /proc/net/sockstat. Throws
    /// as tcp_memory_bytes() does.
    void print_process_cpu_and_ram() const;

private:
    std::string m_id;
    std::string m_external_ip;
    MachineRamInfo m_ram_info;
    MachineCpuInfo m_cpu_info;
    bool m_quiet_node{false};
    bool m_dual;
};

/// The TCP memory in bytes from its page count as a command printed it, for
/// pages of 4096 bytes. Throws std::invalid_argument for what is no number and
/// std::out_of_range for one that is too large. Pure.
long tcp_memory_bytes(const std::string& pages);

} // namespace nyx_monitor
