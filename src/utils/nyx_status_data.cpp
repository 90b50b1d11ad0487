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

constexpr std::int64_t out_of_sync_after_seconds = 60;

SupLogger& shared_logger()
{
    static SupLogger& instance = SupLogger::get_instance("SharedObject");
    return instance;
}

/// The record, or null (logged) where there is none to be had.
StatusObject* open_record(SupLogger& logger, const std::string& caller)
{
    try {
        return &status_record();
    } catch (const std::exception& error) {
        logger.error(caller, ": ", error.what());
        return nullptr;
    }
}

} // namespace

StatusObject& status_record()
{
    static StatusObject object(DualNYXHelper::get_nyx_version_num());
    return object;
}

void publish_status(SupLogger& logger, const std::string& caller,
                    const std::function<void(NyxStatusData&)>& write)
{
    if (!shared_mem_enabled) {
        shared_logger().debug("Shared memory disabled for: ", StatusObject::record_type_name());
        return;
    }
    auto* object = open_record(logger, caller);
    if (object == nullptr)
        return;
    const std::int64_t now = std::time(nullptr);
    if (!object->lock()) {
        if (now - object->record().written_at > out_of_sync_after_seconds)
            shared_logger().fatal("Shared memory out of sync");
        logger.error(caller, ": Failed locking shared memory for ", StatusObject::type_name(),
                     " object");
        return;
    }
    auto& record = object->record();
    write(record);
    record.layout = NyxStatusData::current_layout;
    record.writer_pid = ::getpid();
    record.written_at = now;
    if (!object->unlock())
        throw std::runtime_error("Failed to unlock shared memory");
}

} // namespace nyx_utils
