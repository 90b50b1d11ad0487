// A named set of four machine-wide counters of one measuring cycle.
#pragma once

#include "platform/logger/sup_logger.h"

#include <string>
#include <type_traits>
#include <utility>

/// `a` - `b` in T, wrapping round at T's ends. Signed counters wrap as unsigned
/// ones do: parts that exceed the whole shall show, not end the daemon.
template <typename T>
T wrapping_difference(T a, T b)
{
    using Unsigned = std::make_unsigned_t<T>;
    return static_cast<T>(static_cast<Unsigned>(a) - static_cast<Unsigned>(b));
}

/// The unit is the instance's: clock ticks ("cpu"), kB ("ram") or descriptors
/// ("fd").
template <typename T>
struct SystemPerfStat {
    explicit SystemPerfStat(std::string stat_name) : name(std::move(stat_name)) {}

    std::string name;
    T total{};    ///< the machine's whole capacity
    T other{};    ///< used by processes that are not monitored
    T idle{};     ///< unused
    T velmarin{}; ///< used by the monitored processes

    /// Stores the counters; `other` becomes what is left of `new_total`. It
    /// wraps round when the parts exceed the total.
    void update_counters(T new_total, T new_idle, T new_velmarin)
    {
        velmarin = new_velmarin;
        idle = new_idle;
        total = new_total;
        other = wrapping_difference(wrapping_difference(total, idle), velmarin);
        static SupLogger& logger = SupLogger::get_instance("SystemPerfStat");
        logger.trace("update_counters: ", name, ": total: ", total, ", idle: ", idle,
                     ", velmarin: ", velmarin);
    }

    /// `counter` in percent of `total`; 0 when there is no total.
    double percent_of_total(T counter) const
    {
        if (total == 0)
            return 0.0;
        return static_cast<double>(counter) / static_cast<double>(total) * 100.0;
    }
};
