#include "common/libevent_messages.h"

#include "platform/logger/gathered_records.h"
#include "platform/logger/sup_logger.h"

#include <event2/event.h>

#include <cstdlib>

namespace {

LogLevel level_of(int severity)
{
    switch (severity) {
    case EVENT_LOG_DEBUG:
        return LogLevel::debug;
    case EVENT_LOG_MSG:
        return LogLevel::info;
    case EVENT_LOG_WARN:
        return LogLevel::warning;
    default:
        return LogLevel::error;
    }
}

} // namespace

void route_libevent_messages()
{
    event_set_log_callback(libevent_event_log_cpp);
    event_set_fatal_callback(libevent_gives_up);
}

void libevent_event_log_cpp(int severity, const char* message)
{
    static SupLogger& logger = SupLogger::get_instance("libevent");
    logger.log(level_of(severity), message);
}

void libevent_gives_up(int error)
{
    constexpr int out_of_resources = 1; // any other says that libevent was used wrongly
    if (error != out_of_resources)
        std::abort();
    GatheredRecords::rescue();
    std::_Exit(error);
}
