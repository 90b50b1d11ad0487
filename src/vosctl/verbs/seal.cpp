#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "platform/crypto/sealed_secret.h"
#include "utils/nyx_crypto.h"

#include <sys/stat.h>

#include <iostream>
#include <iterator>

namespace vosctl {

namespace {

constexpr std::size_t longest_secret = 64 * 1024;

/// All of standard input; one trailing line end is no part of the secret.
std::string read_secret()
{
    std::string secret;
    for (char byte; secret.size() <= longest_secret && std::cin.get(byte);)
        secret += byte;
    if (secret.ends_with('\n'))
        secret.pop_back();
    if (secret.ends_with('\r'))
        secret.pop_back();
    return secret;
}

bool exists(const std::string& path)
{
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0;
}

int fail(const std::string& why)
{
    std::cerr << "vosctl seal: " << why << '\n';
    return exit_failed;
}

int run(const CommandLine& line)
{
    if (!line.arguments.empty())
        throw UsageError{.reason = "takes no arguments; the secret comes on standard input"};
    nyx::AConfigurator configurator(line.config.c_str(), false);
    nyx::TheConfigurator::set_configurator(&configurator);
    const auto key_file = nyx::hmac_key_file();
    const auto secret = read_secret();
    if (secret.empty() || secret.size() > longest_secret)
        return fail("the secret on standard input is empty or longer than 64 KiB");
    if (!exists(key_file)) {
        if (const auto made = platform::create_key_file(key_file); !made)
            return fail(made.reason());
        std::cerr << "vosctl seal: made the key file " << key_file << '\n';
    }
    const auto key = platform::read_key_file(key_file);
    if (!key)
        return fail(key.reason());
    const auto sealed = platform::seal_secret(*key, secret);
    if (!sealed)
        return fail(sealed.reason());
    std::cout << *sealed << '\n' << std::flush;
    return std::cout ? exit_done : fail("standard output can not be written");
}

} // namespace

constinit const Verb seal_verb{
    .name = "seal",
    .arguments = "",
    .summary = "read a secret from standard input and print its enciphered form",
    .help = "Reads a secret from standard input (one line end at its end is no part of it)\n"
            "and prints its enciphered form, for General.hmac_secret. Makes the key file\n"
            "that General.hmac_key_file names when there is none.\n",
    .run = run,
};

} // namespace vosctl
