// Machine-wide kernel counters that belong to no process.
#pragma once

#include <string>

/// Stores the ticks that all CPUs together have idled since boot, from
/// /proc/stat. False, with `idle` unchanged, when it can not be read or its
/// first line is not the aggregate.
bool read_cpu_idle_time(unsigned long long& idle, const std::string& proc_root = "/proc");
