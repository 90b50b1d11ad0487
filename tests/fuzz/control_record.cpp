// A message of the control link or of a heartbeat socket.
#include "fuzz/target.h"
#include "platform/ipc/ipc_record.h"

void fuzz_one(std::string_view input)
{
    const auto message = parse_ipc_message(input.data(), input.size());
    REQUIRE(message.has_value() == (input.size() >= sizeof(ipcmsg_t)));
    if (!message)
        return;
    REQUIRE(message->text.size() == input.size() - sizeof(ipcmsg_t));
    ipcmsg_t again;
    init_ipc_hdr(&again, message->type, message->sender.c_str(), message->destination.c_str());
    const auto read = parse_ipc_message(&again, sizeof again);
    REQUIRE(read && read->type == message->type && read->text.empty());
    // Only names that fill their fields lose their last letter to the NUL.
    REQUIRE(message->sender.starts_with(read->sender));
    REQUIRE(message->destination.size() - read->destination.size() <= 1);
}
