#include "floor_report.h"

#include "config/keys.h"
#include "floor.h"
#include "floor_files.h"
#include "text/server_url.h"
#include "utils/nyx_crypto.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr const char* certificate = "/opt/vos/client.pem";
constexpr const char* host = "127.0.0.1";

std::string setting(nyx::AConfigurator& conf, const char* key)
{
    return conf.config.lookup(key);
}

int server_port(const std::string& url)
{
    const auto parts = text::split_server_url(url);
    return parts ? std::atoi(parts->port.c_str()) : 0;
}

bool begins_number(const std::string& text, std::size_t at)
{
    return std::isdigit(static_cast<unsigned char>(text[at])) != 0 &&
           text.compare(at - 2, 2, ": ") == 0;
}

} // namespace

FloorText::FloorText(const std::string& model)
{
    std::size_t begin = 0;
    for (std::size_t at = 2; at < model.size(); ++at) {
        if (!begins_number(model, at))
            continue;
        char* end = nullptr;
        const double number = std::strtod(&model[at], &end);
        m_parts.push_back({model.substr(begin, at - begin), number});
        begin = at = static_cast<std::size_t>(end - model.data());
    }
    m_end = model.substr(begin);
}

std::string FloorText::write() const
{
    std::string text;
    std::array<char, 32> digits{};
    for (const auto& part : m_parts) {
        const int length = std::snprintf(digits.data(), digits.size(), "%.10g", part.number);
        text += part.words;
        text.append(digits.data(), static_cast<std::size_t>(length));
    }
    return text + m_end;
}

FloorReport::FloorReport(nyx::AConfigurator& conf, std::vector<int> pids, const std::string& model,
                         bool resumes)
    : m_pids(std::move(pids)), m_text(model),
      m_post(host, server_port(setting(conf, config::key::zel_report_url)), certificate, resumes),
      m_copy(setting(conf, config::key::local_json_report_path)),
      m_path(setting(conf, config::key::report_path) +
             "?key=" + setting(conf, config::key::datacenter_id)),
      m_secret(nyx::Crypto().decrypt(setting(conf, config::key::hmac_secret))),
      m_period_ms(conf.config.lookup(config::key::hmac_timeout))
{
}

void FloorReport::make_and_post()
{
    benchmark::DoNotOptimize(m_search.find(::getppid()));
    benchmark::DoNotOptimize(read_file("/proc/net/sockstat"));
    benchmark::DoNotOptimize(read_floor(m_pids));
    const auto text = m_text.write();
    write_copy(text);
    m_post.post(signed_path(text), text);
}

/// Whoever reads the copy sees all of it or the one before.
void FloorReport::write_copy(const std::string& text) const
{
    const auto beside = m_copy + ".tmp";
    const int fd = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const auto written = ::write(fd, text.data(), text.size());
    if (fd < 0 || ::close(fd) != 0 || written != static_cast<ssize_t>(text.size()) ||
        std::rename(beside.c_str(), m_copy.c_str()) != 0)
        throw std::runtime_error("the copy can not be written");
}

std::string FloorReport::signed_path(const std::string& text) const
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const auto to_sign = text + std::to_string(ms / m_period_ms);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    std::size_t size = 0;
    EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, m_secret.data(), m_secret.size(),
              reinterpret_cast<const unsigned char*>(to_sign.data()), to_sign.size(), digest.data(),
              digest.size(), &size);
    auto path = m_path + "&token=";
    std::array<char, 3> digits{};
    for (std::size_t i = 0; i < size; ++i) {
        std::snprintf(digits.data(), digits.size(), "%02x", digest[i]);
        path += digits.data();
    }
    return path;
}
