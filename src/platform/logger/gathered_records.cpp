#include "platform/logger/gathered_records.h"

#include "platform/file/while_waiting.h"
#include "platform/logger/log_level.h"
#include "platform/logger/record_buffer.h"

#include <atomic>
#include <cstdlib>

namespace {

thread_local int callbacks_under_way = 0;

/// No callback ends any more. What static objects log when they go is written at
/// once.
std::atomic<bool> process_ends{false};

} // namespace

GatheredRecords::GatheredRecords() noexcept
{
    [[maybe_unused]] static const int registered = std::atexit([] {
        process_ends = true;
        write({});
    });
    ++callbacks_under_way;
}

GatheredRecords::~GatheredRecords()
{
    if (--callbacks_under_way == 0)
        write({});
}

bool GatheredRecords::wait(int priority) noexcept
{
    return callbacks_under_way > 0 && priority > static_cast<int>(LogLevel::error) && !process_ends;
}

void GatheredRecords::write_old() noexcept
{
    constexpr std::chrono::milliseconds longest_wait{500};
    write(longest_wait);
}

void GatheredRecords::rescue() noexcept
{
    RecordBuffer::rescue();
}

void GatheredRecords::write(std::chrono::steady_clock::duration least_age) noexcept
{
    while (RecordBuffer::write_one(least_age))
        platform::while_waiting();
}
