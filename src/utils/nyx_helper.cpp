#include "utils/nyx_helper.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "platform/clock/monotonic.h"
#include "platform/file/text_file.h"
#include "text/ipv4.h"
#include "utils/commands.h"

#include <strings.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace nyx {

namespace {

std::string required_text(const char* key)
{
    std::string value;
    if (!TheConfigurator::get_configuration().config.lookupValue(key, value))
        throw std::runtime_error(std::string("missing configuration value: ") + key);
    return value;
}

constexpr int gzip_window_bits = 15 + 16; // 16 asks zlib for the gzip format
constexpr int gzip_memory_level = 8;

} // namespace

std::string Helper::get_my_id(bool)
{
    return required_text(config::key::vos_id);
}

std::string Helper::get_external_ip(bool)
{
    return required_text(config::key::vos_public_ip);
}

bool Helper::is_kln()
{
    bool quiet = config::default_quiet_node;
    TheConfigurator::get_configuration().config.lookupValue(config::key::quiet_node, quiet);
    return quiet;
}

std::uint64_t Helper::get_timestamp_ms()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

std::string Helper::get_timestamp_gmt_format()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

timespec Helper::get_clock()
{
    return platform::monotonic_now();
}

std::int64_t Helper::get_clock_diff_ms(const timespec& later, const timespec& earlier)
{
    const auto nanoseconds =
        (static_cast<std::int64_t>(later.tv_sec) - earlier.tv_sec) * 1000000000 +
        (later.tv_nsec - earlier.tv_nsec);
    return nanoseconds / 1000000;
}

std::uint64_t Helper::calc_number_of_cores()
{
    return static_cast<std::uint64_t>(std::max(0L, ::sysconf(_SC_NPROCESSORS_ONLN)));
}

double Helper::calc_usage_percentage(std::uint64_t idle, std::int64_t time, std::uint64_t cores)
{
    if (time <= 0 || cores == 0)
        return 0.0;
    const double capacity = static_cast<double>(time) * static_cast<double>(cores);
    return 100.0 * (1.0 - static_cast<double>(idle) / capacity);
}

std::string Helper::run_cmd(const std::string& command)
{
    return nyx_utils::run_command(command, platform::CommandOutput::standard_output).output;
}

int Helper::run_cmd_stderr(const std::string& command, std::string& output)
{
    auto result = nyx_utils::run_command(command, platform::CommandOutput::with_errors);
    output = std::move(result.output);
    return result.exit_code;
}

std::vector<std::string> Helper::deserialize_strings(const std::string& text, char separator)
{
    std::vector<std::string> pieces;
    std::istringstream source(text);
    for (std::string piece; std::getline(source, piece, separator);)
        pieces.push_back(piece);
    return pieces;
}

bool Helper::gzip_buffer(const std::string& input, std::string& output, int level)
{
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, gzip_window_bits, gzip_memory_level,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        return false;
    std::string packed(deflateBound(&stream, static_cast<uLong>(input.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const bool packed_all = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (packed_all)
        output = std::move(packed);
    return packed_all;
}

bool Helper::is_valid_ip_address(const std::string& host)
{
    return text::parse_dotted_quad(host).has_value();
}

bool Helper::try_static_resolution(const std::string& host, std::list<in_addr>& addresses,
                                   const std::string& table)
{
    const auto text = platform::read_text_file(table);
    if (!text)
        return false;
    addresses = parse_static_hosts(*text, host);
    return !addresses.empty();
}

std::list<in_addr> parse_static_hosts(const std::string& table, const std::string& host)
{
    std::list<in_addr> found;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string address_text;
        words >> address_text;
        const auto address = text::parse_dotted_quad(address_text);
        for (std::string name; address && words >> name;) {
            if (name.size() == host.size() && ::strcasecmp(name.c_str(), host.c_str()) == 0) {
                found.push_back(*address);
                break;
            }
        }
    }
    return found;
}

} // namespace nyx
