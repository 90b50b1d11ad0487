#include "vosctl/support/bundle.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "platform/crypto/sealed_secret.h"
#include "platform/file/text_file.h"
#include "utils/dual_nyx_helper.h"
#include "utils/nyx_crypto.h"
#include "utils/nyx_helper.h"
#include "vosctl/check/log_files.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/support/log_tail.h"
#include "vosctl/support/redaction.h"

#include <sys/utsname.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace vosctl {

namespace {

constexpr std::size_t most_log_lines = 1000;

/// The sections of the bundle. One that can not be had holds the reason instead:
/// a support case is about a node on which something is amiss.
class Bundle {
public:
    explicit Bundle(const std::string& config) : m_config_file(config) {}

    std::string collect()
    {
        section("version", &Bundle::version);
        section("configuration " + m_config_file, [this] { return configuration(); });
        section("status", [] { return status(); });
        section("last report", [this] { return last_report(); });
        section("log", [this] { return log(); });
        return m_redactor.scrub(m_text);
    }

private:
    void section(const std::string& title, const std::function<std::string()>& content);
    static std::string version();
    std::string configuration();
    static std::string status();
    std::string last_report() const;
    std::string log() const;
    void remember_plain_secret();
    std::string file_setting(const char* key) const;

    std::string m_config_file;
    libconfig::Config m_config; ///< without secrets, once the section is made
    Redactor m_redactor;
    std::string m_text;
};

void Bundle::section(const std::string& title, const std::function<std::string()>& content)
{
    m_text += "===== " + title + "\n";
    try {
        m_text += content();
    } catch (const std::exception& error) {
        m_text += "not available: " + nyx::configuration_error_text(error);
    }
    m_text += m_text.ends_with('\n') ? "\n" : "\n\n";
}

std::string Bundle::version()
{
    utsname system{};
    ::uname(&system);
    return "vosctl " + std::string(nyx_utils::DualNYXHelper::get_nyx_version_num()) + "\n" +
           system.sysname + " " + system.release + " " + system.machine + "\n" + "collected " +
           nyx::Helper::get_timestamp_gmt_format();
}

/// The plain secret and the key, so that nothing else in the bundle gives them away.
void Bundle::remember_plain_secret()
{
    std::string sealed;
    const auto key = platform::read_key_file(nyx::hmac_key_file());
    if (!key)
        return;
    m_redactor.remember({reinterpret_cast<const char*>(key->data()), platform::SecretKey::size});
    m_config.lookupValue(config::key::hmac_secret, sealed);
    if (auto secret = platform::open_secret(*key, sealed))
        m_redactor.remember(std::move(*secret));
}

std::string Bundle::configuration()
{
    nyx::AConfigurator conf(m_config_file.c_str(), false);
    nyx::TheConfigurator::set_configurator(&conf);
    m_config.readString(nyx::configuration_text(conf.config));
    remember_plain_secret();
    nyx::TheConfigurator::set_configurator(nullptr);
    m_redactor.redact(m_config.getRoot());
    return nyx::configuration_text(m_config);
}

std::string Bundle::status()
{
    auto link = SupervisorLink::connect();
    if (!link)
        throw std::runtime_error(no_supervisor_text(link.reason()));
    return libvariant::write_json(link->ask_status(), {{"pretty", true}});
}

/// The file that the setting names; relative ones lie beside the configuration,
/// in the daemon's working directory.
std::string Bundle::file_setting(const char* key) const
{
    std::string path;
    if (!m_config.lookupValue(key, path) || path.empty())
        throw std::runtime_error(std::string("the configuration has no ") + key);
    return std::filesystem::path(m_config_file).parent_path() / path;
}

std::string read_whole(const std::string& path)
{
    const auto text = platform::read_text_file(path);
    if (!text)
        throw std::runtime_error(path + ": " + std::strerror(errno));
    return *text;
}

std::string Bundle::last_report() const
{
    return read_whole(file_setting(config::key::local_json_report_path));
}

std::string Bundle::log() const
{
    const auto directory = std::filesystem::path(m_config_file).parent_path();
    std::string text;
    for (const auto& file : log_files(read_whole(file_setting(config::key::log_config_file)))) {
        const std::string path = directory / file.path;
        text += "----- " + path + "\n" + read_last_lines(path, most_log_lines);
    }
    return text;
}

} // namespace

std::string collect_bundle(const std::string& config_file)
{
    return Bundle(config_file).collect();
}

} // namespace vosctl
