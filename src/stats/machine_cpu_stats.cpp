#include "stats/machine_cpu_stats.h"

#include "common/nyx_configurator.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "procfs/stat.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>

namespace nyx_monitor {

namespace {

constexpr std::int64_t sampling_period_ms = 1000;
constexpr int largest_int = std::numeric_limits<int>::max();
/// user to steal; the guest columns are within user and nice already.
constexpr std::size_t counted_columns = procfs::steal_column + 1;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("CPUStatSampler");
    return instance;
}

int saturate_to_int(std::int64_t value)
{
    return static_cast<int>(std::min<std::int64_t>(value, largest_int));
}

/// False, with one error record, unless `error` is 0.
bool succeeded(const char* action, int error)
{
    if (error != 0)
        logger().error("Failed to ", action, " pthread mutex: ", error, " : ",
                       std::strerror(error));
    return error == 0;
}

/// Stores `now` and gives the reading before, of any thread.
timespec exchange_last_clock(const timespec& now)
{
    static std::mutex mutex;
    static timespec last_clock{};
    const std::lock_guard<std::mutex> guard(mutex);
    return std::exchange(last_clock, now);
}

} // namespace

CPUStatSampler::CPUStatSampler(std::string proc_root, bool own_thread)
    : m_thread("CPU stats sampler", &CPUStatSampler::run, this), m_proc_root(std::move(proc_root))
{
    if (succeeded("initialize", m_mutex.init_error()) && own_thread)
        start();
}

CPUStatSampler::~CPUStatSampler()
{
    stop();
}

void CPUStatSampler::start()
{
    if (m_thread.is_running())
        logger().error("start: Already is running");
    else
        m_thread.start(nyx::TheConfigurator::get_configuration());
}

void CPUStatSampler::stop()
{
    if (m_thread.is_running())
        logger().info("stop: Stopping sampler");
    m_thread.stop();
    m_thread.join();
    logger().info("stop: CPU stats sampler stopped");
}

void CPUStatSampler::run(void* arg)
{
    static_cast<CPUStatSampler*>(arg)->retrive_stats();
    ::sleep(1);
}

void CPUStatSampler::retrive_stats()
{
    const auto path = m_proc_root + "/stat";
    const auto text = platform::read_record_file(path);
    if (!text) {
        logger().error("retrive_stats: Couldn't open ", path, std::strerror(errno));
        return;
    }
    const auto times = procfs::parse_cpu_times(*text).aggregate;
    if (!times)
        return;
    if (times->columns < counted_columns) {
        // Counted as zeros, the missing columns would spoil the next sample too.
        logger().error("retrive_stats: An error occurred while trying to parse the CPU stats: ",
                       times->columns, " columns in ", path);
        return;
    }
    add_stats(times->ticks[procfs::steal_column], times->sum(counted_columns));
}

void CPUStatSampler::add_stats(std::uint64_t steal, std::uint64_t total, const timespec& now)
{
    const auto steal_difference = steal - m_prev_steal;
    auto total_difference = total - m_prev_total;
    if (total_difference == 0) {
        logger().info("add_stats: uptime interval is zero");
        total_difference = 1;
    }
    const CPUStat sample{static_cast<double>(steal_difference) /
                             static_cast<double>(total_difference) * 100.0,
                         get_clock_skew(now)};
    // A counter that went back makes the share larger than an int.
    logger().trace("add_stats: CPU steal%: ",
                   static_cast<int>(std::min<double>(sample.steal_pct, largest_int)),
                   ", clock skew ", sample.clock_skew_ms);
    m_prev_steal = steal; // before the lock: a sample may be lost, the baseline not
    m_prev_total = total;
    if (!lock())
        return;
    // Also when memory runs out: the loop would wait for the mutex for ever.
    const auto give_back = [](CPUStatSampler* sampler) { sampler->unlock(); };
    const std::unique_ptr<CPUStatSampler, decltype(give_back)> locked(this, give_back);
    m_samples.push_back(sample);
    if (m_samples.size() > max_samples)
        m_samples.erase(m_samples.begin());
}

bool CPUStatSampler::get_stats(int& clock_skew_ms, double& steal_average_pct,
                               double& steal_variance, int& num_of_samples)
{
    if (!lock())
        return false;
    const auto samples = std::exchange(m_samples, {});
    unlock();
    if (samples.empty()) {
        logger().info("get_stats: No results");
        return false;
    }
    steal_variance = calc_variance(samples, steal_average_pct, clock_skew_ms);
    num_of_samples = static_cast<int>(samples.size());
    logger().debug("get_stats: CPU avg steal%: ", steal_average_pct, ", variance: ", steal_variance,
                   ", clock skew: ", clock_skew_ms, "ms");
    return true;
}

bool CPUStatSampler::lock()
{
    return succeeded("lock", m_mutex.lock());
}

bool CPUStatSampler::unlock()
{
    return succeeded("unlock", m_mutex.unlock());
}

std::int32_t CPUStatSampler::get_clock_skew(const timespec& now)
{
    const auto previous = exchange_last_clock(now);
    if (previous.tv_sec < 1)
        return 0;
    const auto elapsed = nyx::Helper::get_clock_diff_ms(now, previous);
    if (elapsed <= sampling_period_ms)
        return 0;
    const int skew = saturate_to_int(elapsed - sampling_period_ms);
    logger().warning("get_clock_skew: Clock skew detected: ", skew, " msec");
    return skew;
}

double calc_variance(const std::vector<CPUStat>& samples, double& mean, int& skew_sum)
{
    mean = std::numeric_limits<double>::quiet_NaN();
    skew_sum = 0;
    if (samples.empty())
        return mean;
    double steal_sum = 0.0;
    std::int64_t skews = 0;
    for (const auto& sample : samples) {
        steal_sum += sample.steal_pct;
        skews += sample.clock_skew_ms;
    }
    const auto count = static_cast<double>(samples.size());
    mean = steal_sum / count;
    skew_sum = saturate_to_int(skews);
    double squares = 0.0;
    for (const auto& sample : samples)
        squares += (sample.steal_pct - mean) * (sample.steal_pct - mean);
    return squares / count;
}

} // namespace nyx_monitor
