// Small services that every part of the agent uses: clock, identity, shell
// commands, addresses.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <ctime>
#include <list>
#include <string>
#include <vector>

namespace nyx {

class Helper {
public:
    /// "General.vos_id" and "General.vos_public_ip" of the current
    /// configuration. In dual mode they are the same. Throw std::runtime_error
    /// naming the key when it is missing.
    static std::string get_my_id(bool dual);
    static std::string get_external_ip(bool dual);
    /// "General.quiet_node", default false.
    static bool is_kln();

    /// Wall clock, milliseconds since 1970.
    static std::uint64_t get_timestamp_ms();
    /// Wall clock as 2026-11-21T05:14:09Z.
    static std::string get_timestamp_gmt_format();
    /// The monotonic clock.
    static timespec get_clock();
    /// `later` - `earlier` in milliseconds, truncated toward zero.
    static std::int64_t get_clock_diff_ms(const timespec& later, const timespec& earlier);

    /// Processors online; 0 when unknown.
    static std::uint64_t calc_number_of_cores();
    /// Busy share in percent of `cores` processors that were idle for `idle`
    /// of `time` ticks: 0 when `time` is not positive or there are no cores.
    /// Negative when they were idle for longer than there was time.
    static double calc_usage_percentage(std::uint64_t idle, std::int64_t time, std::uint64_t cores);

    /// Runs `command` by /bin/sh and returns its standard output; see
    /// command_runner.h for the bounds.
    static std::string run_cmd(const std::string& command);
    /// The same; `output` gets standard output and standard error. The exit
    /// code, or 128 + the number of the signal that ended the command.
    static int run_cmd_stderr(const std::string& command, std::string& output);
    /// The pieces of `text` between `separator`s. One at the very end makes no
    /// further, empty piece.
    static std::vector<std::string> deserialize_strings(const std::string& text, char separator);

    /// Compresses into the gzip format. False on failure, `output` is then
    /// unchanged.
    static bool gzip_buffer(const std::string& input, std::string& output, int level);

    /// Whether `host` is an IPv4 address in dotted-quad form.
    static bool is_valid_ip_address(const std::string& host);
    /// The IPv4 addresses that the static host table gives `host` (without
    /// regard to case), in file order. False when there are none.
    static bool try_static_resolution(const std::string& host, std::list<in_addr>& addresses,
                                      const std::string& table = "/etc/hosts");
};

/// The addresses that the lines of a static host table give `host`. Lines that
/// hold no IPv4 address are passed over.
std::list<in_addr> parse_static_hosts(const std::string& table, const std::string& host);

} // namespace nyx
