#include "utils/nyx_status_data.h"

#include "platform/logger/sup_logger.h"
#include "utils/dual_nyx_helper.h"

#include <unistd.h>

#include <ctime>
#include <exception>
#include <stdexcept>

namespace nyx_utils {

namespace {

using StatusObject = SharedObject<NyxStatusData>;

SupLogger& shared_logger()
{
    static SupLogger& instance = SupLogger::get_instance("SharedObject");
    return instance;
}

std::string after(const std::string& operation)
{
    return operation.empty() ? operation : operation + ": ";
}

/// The record, or null (logged) where there is none to be had.
StatusObject* open_record(SupLogger& logger, const std::string& operation)
{
    try {
        return &status_record();
    } catch (const std::exception& error) {
        logger.error(after(operation), error.what());
        return nullptr;
    }
}

void log_failed_wait(SupLogger& logger, const std::string& operation, std::int64_t written_at)
{
    if (std::time(nullptr) - written_at > status_fresh_seconds)
        shared_logger().fatal("Shared memory out of sync");
    const bool inventory = operation.empty();
    logger.error(after(operation), "Failed locking shared memory for ",
                 inventory ? StatusObject::record_type_name() : StatusObject::type_name(),
                 inventory ? "" : " object");
}

/// The copy, unless it is of no use.
text::Result<NyxStatusData> usable(const NyxStatusData& record)
{
    if (record.layout == 0)
        return text::Failure{"nothing has been written to it yet"};
    if (record.layout != NyxStatusData::current_layout)
        return text::Failure{"its layout version is " + std::to_string(record.layout) + ", not " +
                             std::to_string(NyxStatusData::current_layout)};
    return record;
}

} // namespace

StatusObject& status_record(const std::string& name)
{
    static StatusObject object(name.empty() ? DualNYXHelper::get_nyx_version_num() : name);
    return object;
}

void publish_status(SupLogger& logger, const std::string& operation,
                    const std::function<void(NyxStatusData&)>& write)
{
    if (!shared_mem_enabled) {
        shared_logger().debug("Shared memory disabled for: ", StatusObject::record_type_name());
        return;
    }
    auto* object = open_record(logger, operation);
    if (object == nullptr)
        return;
    auto& record = object->record();
    if (!object->lock()) {
        log_failed_wait(logger, operation, record.written_at);
        return;
    }
    write(record);
    record.layout = NyxStatusData::current_layout;
    record.writer_pid = ::getpid();
    record.written_at = std::time(nullptr);
    if (!object->unlock())
        throw std::runtime_error("Failed to unlock shared memory");
}

text::Result<NyxStatusData> read_status(const std::string& name)
{
    try {
        StatusObject object(name, SharedMemoryUse::existing);
        if (!object.lock())
            return text::Failure{"its semaphore was held for a second; the holder may be dead"};
        const NyxStatusData copy = object.record();
        if (!object.unlock())
            return text::Failure{"Failed to unlock shared memory"};
        return usable(copy);
    } catch (const std::runtime_error& error) {
        return text::Failure{error.what()};
    }
}

} // namespace nyx_utils
