// The node's health report: one JSON document a period.
#pragma once

#include "common/reconfigure.h"
#include "config/keys.h"
#include "report/health_document.h"
#include "report/reporter.h"

#include <map>
#include <string>

/// Collects, serialises, keeps a local copy and hands the text to the sender.
/// Lives until exit: it never takes itself off the configuration's list.
class VOSHealthReporter : public nyx::Reporter, public nyx::IReconfigure {
public:
    /// Certificate and key of the agent, in one PEM file.
    static constexpr const char* client_cert_file = config::client_certificate_file;

    /// `name` is the report's path on the server. Registers with `conf` for
    /// reloads.
    VOSHealthReporter(nyx::AConfigurator* conf, const std::map<std::string, std::string>& params,
                      std::string name);

    std::string get_client_cert_path() override { return client_cert_file; }
    /// The document's text (numbers with 10 significant digits). Also replaces
    /// the local copy. Throws std::runtime_error when a collector fails or the
    /// local copy can not be written.
    std::string create_report() override;

    void reconfigure() override;
    bool need_reconf(bool& enabled) override;

private:
    void load_local_json_report_path();
    void save_local_copy(const std::string& text) const;

    nyx::AConfigurator* m_conf; ///< not owned
    HealthDocument m_document;
    std::string m_local_json_report_path;
};
