#include "vosctl/link/supervisor_link.h"

#include <poll.h>

#include <array>
#include <cstring>

namespace vosctl {

namespace {

constexpr int answer_timeout_ms = 2000;
constexpr const char* tool_name = "vosctl";

} // namespace

text::Result<SupervisorLink> SupervisorLink::connect()
{
    int fd = -1;
    if (const int error = connect_socket(&fd, "vos"); error != 0)
        return text::Failure{std::strerror(error)};
    return SupervisorLink(platform::UniqueFd(fd));
}

std::optional<Answer> SupervisorLink::ask(std::uint16_t type)
{
    ipcmsg_t request;
    init_ipc_hdr(&request, type, tool_name, "vos_monitor");
    pollfd link{m_fd.get(), POLLIN, 0};
    if (send_msg(m_fd.get(), request) != 0 || ::poll(&link, 1, answer_timeout_ms) <= 0)
        return std::nullopt;
    std::array<char, 65536> buffer;
    const auto length = read_msg(m_fd.get(), buffer.data(), buffer.size(), 0);
    if (length < 0)
        return std::nullopt;
    const auto message = parse_ipc_message(buffer.data(), static_cast<std::size_t>(length));
    if (!message)
        return std::nullopt;
    return Answer{message->type, std::string(message->text)};
}

libvariant::Variant SupervisorLink::ask_status()
{
    const auto answer = ask(ipc_status);
    if (!answer || answer->type != ipc_status_answer)
        return nullptr;
    auto status = libvariant::Variant::parse(answer->text, nullptr, false);
    return status.is_object() ? status : nullptr;
}

std::string no_supervisor_text(const std::string& why)
{
    return "no supervisor at " + ipc_dir() + ": " + why;
}

} // namespace vosctl
