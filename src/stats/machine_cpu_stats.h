// The background sampler of the signs of a starved virtual machine: stolen CPU
// time, and sampling periods that overran.
#pragma once

#include "common/nyx_thread.h"
#include "stats/pthread_mutex.h"
#include "utils/nyx_helper.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace nyx_monitor {

/// One sample.
struct CPUStat {
    double steal_pct{};           ///< stolen share of the interval, percent
    std::int32_t clock_skew_ms{}; ///< how far the interval overran, 0 when it did not
};

/// Samples about once a second on a thread of its own. get_stats() may be
/// called from another thread.
class CPUStatSampler {
public:
    /// The newest samples that are kept between two reports.
    static constexpr std::size_t max_samples = 120;

    /// Starts the thread, or with `own_thread` false leaves sampling to who
    /// calls retrive_stats(). Throws std::runtime_error when the configuration
    /// lacks "General.max_thread_runtime_ms". Without a mutex, which is
    /// logged, there are never any samples.
    explicit CPUStatSampler(std::string proc_root = "/proc", bool own_thread = true);
    CPUStatSampler(const CPUStatSampler&) = delete;
    CPUStatSampler& operator=(const CPUStatSampler&) = delete;
    /// Stops the thread, which takes up to a second.
    ~CPUStatSampler();

    void start();
    /// Stops and joins the thread; its pass under way ends first.
    void stop();

    /// Reads the aggregate line of /proc/stat and adds a sample. Logs what can
    /// not be read or parsed, and then adds none.
    void retrive_stats();
    /// Adds a sample from cumulative ticks: `steal` of `total`, read at `now`
    /// of the monotonic clock. The first one is measured against zero.
    void add_stats(std::uint64_t steal, std::uint64_t total,
                   const timespec& now = nyx::Helper::get_clock());

    /// Takes all samples since the last call and gives the sum of the skews,
    /// mean and population variance of the stolen share, and how many there
    /// were. False, with the arguments untouched, when there were none.
    bool get_stats(int& clock_skew_ms, double& steal_average_pct, double& steal_variance,
                   int& num_of_samples);

    /// Takes or gives back the mutex; false, logged, when that fails.
    bool lock();
    bool unlock();

    /// By how many milliseconds the time since the last call exceeds a second;
    /// 0 at the first call and when it does not. The last call's `now` is the
    /// process's. One whose seconds are 0 counts as none.
    static std::int32_t get_clock_skew(const timespec& now = nyx::Helper::get_clock());

private:
    static void run(void* arg);

    PthreadMutex m_mutex; ///< guards m_samples
    nyx::Thread m_thread;
    std::uint64_t m_prev_steal{};
    std::uint64_t m_prev_total{};
    std::vector<CPUStat> m_samples; ///< oldest first
    std::string m_proc_root;
};

/// The population variance of the stolen share; `mean` gets its mean, and
/// `skew_sum` the sum of the skews, at most INT_MAX. Mean and variance of no
/// samples are NaN.
double calc_variance(const std::vector<CPUStat>& samples, double& mean, int& skew_sum);

} // namespace nyx_monitor
