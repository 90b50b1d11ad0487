#include "vosctl/check/text_forms.h"

#include "platform/variant/variant.h"
#include "text/ipv4.h"
#include "text/server_url.h"
#include "text/words.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string_view>

namespace vosctl {

namespace {

using config::TextForm;

bool is_blank_or_control(unsigned char letter)
{
    constexpr unsigned char rubout = 0x7F;
    return letter <= ' ' || letter == rubout;
}

/// Fails when `value` has a blank, a control character, or one of `specials`,
/// which mean something else in a URL.
text::Outcome check_url_part(std::string_view value, std::string_view specials)
{
    const auto found = std::ranges::find_if(value, [specials](char letter) {
        return is_blank_or_control(static_cast<unsigned char>(letter)) ||
               specials.find(letter) != std::string_view::npos;
    });
    if (found == value.end())
        return text::done();
    const bool special = specials.find(*found) != std::string_view::npos;
    return text::Failure{
        std::string("has ") +
        (special ? std::string{'"', *found, '"'} : "a blank or control character") +
        ", which no part of a URL may hold: every report fails; take it out"};
}

/// Whether each part between the dots has 1 to 63 characters, and all of it no
/// more than 253. A dot at the end is the root's.
bool is_name(std::string_view host)
{
    constexpr std::size_t longest_name = 253;
    constexpr std::size_t longest_label = 63;
    if (host.ends_with('.'))
        host.remove_suffix(1);
    if (host.size() > longest_name)
        return false;
    for (;;) {
        const auto label = host.substr(0, host.find('.'));
        if (label.empty() || label.size() > longest_label)
            return false;
        if (label.size() == host.size())
            return true;
        host.remove_prefix(label.size() + 1);
    }
}

bool ends_in_a_number(std::string_view host)
{
    const auto last = host.substr(host.rfind('.') + 1);
    return !last.empty() &&
           std::ranges::all_of(last, [](char letter) { return letter >= '0' && letter <= '9'; });
}

text::Outcome check_host(const std::string& host)
{
    if (host.find('@') != std::string::npos)
        return text::Failure{"has a user before the host, which is taken for a part of its name: "
                             "no report is sent; leave it out"};
    if (host.find_first_of(":[]") != std::string::npos)
        return text::Failure{"has an IPv6 address, and the daemon speaks IPv4 alone: no report is "
                             "sent; give a name or an IPv4 address"};
    if (auto part = check_url_part(host, "/?#\\\""); !part)
        return part;
    if (!is_name(host))
        return text::Failure{"has \"" + host +
                             "\" for its host, which no name server knows: no report is sent; each "
                             "part between dots needs 1 to 63 characters, all of it at most 253"};
    if (ends_in_a_number(host) && !text::parse_dotted_quad(host))
        return text::Failure{"has \"" + host +
                             "\" for its host, which is no IPv4 address: no report is sent; give "
                             "four numbers from 0 to 255, or a name"};
    return text::done();
}

text::Outcome check_url(const std::string& value)
{
    const auto url = text::split_server_url(value);
    if (!url || url->host.empty() || url->host == url->port)
        return text::Failure{"is no URL of the form scheme://host:port"};
    if (url->scheme != "http" && url->scheme != "https")
        return text::Failure{"has a scheme other than https and http"};
    const auto port = text::to_number<std::uint16_t>(url->port);
    if (!port || *port == 0)
        return text::Failure{"has no port number from 1 to 65535 at its end"};
    return check_host(url->host);
}

text::Outcome check_json(const std::string& value)
{
    try {
        libvariant::read_json(value);
        return text::done();
    } catch (const std::exception&) {
        return text::Failure{"is no JSON document"};
    }
}

} // namespace

text::Outcome check_text(const std::string& value, TextForm form)
{
    switch (form) {
    case TextForm::url:
        return check_url(value);
    case TextForm::json:
        return check_json(value);
    case TextForm::server_path:
        return value.starts_with('/') ? check_url_part(value, "?#")
                                      : text::Failure{"does not begin with \"/\""};
    case TextForm::query_value:
        return value.empty() ? text::Failure{"is empty"} : check_url_part(value, "&#");
    case TextForm::filled:
        return value.empty() ? text::Failure{"is empty"} : text::done();
    default:
        return text::done();
    }
}

} // namespace vosctl
