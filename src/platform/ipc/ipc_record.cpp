#include "platform/ipc/ipc_record.h"

#include <algorithm>
#include <cstring>

namespace {

void copy_name(char* field, std::size_t capacity, const char* name)
{
    const auto length = std::min(std::strlen(name), capacity - 1);
    std::fill_n(std::copy_n(name, length, field), capacity - length, '\0');
}

template <std::size_t capacity>
std::string text_of(const char (&field)[capacity])
{
    return {field, ::strnlen(field, capacity)};
}

} // namespace

void init_ipc_hdr(ipcmsg_t* message, std::uint16_t type, const char* sender,
                  const char* destination)
{
    message->type = type;
    copy_name(message->sender, sizeof message->sender, sender);
    copy_name(message->destination, sizeof message->destination, destination);
}

std::optional<IpcMessage> parse_ipc_message(const void* bytes, std::size_t size)
{
    ipcmsg_t record;
    if (size < sizeof record)
        return std::nullopt;
    std::memcpy(&record, bytes, sizeof record);
    return IpcMessage{
        record.type, text_of(record.sender), text_of(record.destination),
        std::string_view(static_cast<const char*>(bytes), size).substr(sizeof record)};
}
