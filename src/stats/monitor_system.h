// Machine-wide kernel counters that belong to no process.
#pragma once

#include <cstdint>
#include <string>

/// Stores the ticks that all CPUs together have idled since boot, from
/// /proc/stat, and with `cores` how many CPUs it lists. False, with both
/// unchanged, when it can not be read or its first line is not the aggregate.
bool read_cpu_idle_time(unsigned long long& idle, const std::string& proc_root = "/proc",
                        std::uint64_t* cores = nullptr);

/// Packets that the chain "ICMP_FLOOD" (its rule 4) or "syn-rate-limit" (its
/// rule 2) has dropped since the last call; published in the status record.
/// They run iptables twice, to read the counter and to set it to zero: what is
/// dropped in between is lost. 0, and one error record, when there is no such
/// rule. A counter that can not be zeroed is warned about and counts on. Throw
/// std::invalid_argument for what is no number, std::out_of_range for one
/// beyond 32 bits (which is set to zero all the same), both with the text
/// "stoul", and std::runtime_error when the record's semaphore can not be given
/// back.
std::uint32_t get_icmp_flood_drop();
std::uint32_t get_syn_flood_drop();
