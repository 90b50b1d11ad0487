#include "report/health_reporter.h"

#include "config/keys.h"
#include "platform/file/atomic_file.h"
#include "platform/file/temporary_name.h"
#include "platform/logger/sup_logger.h"

#include <utility>

namespace {

using libvariant::Variant;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("VOSHealthReporter");
    return instance;
}

} // namespace

VOSHealthReporter::VOSHealthReporter(nyx::AConfigurator* conf,
                                     const std::map<std::string, std::string>& params,
                                     std::string name)
    : nyx::Reporter(conf, params, std::move(name)), nyx::IReconfigure("VOSHealthReporter"),
      m_conf(conf), m_document(conf)
{
    conf->register_reconfiguration_cb(this);
    load_local_json_report_path();
    m_document.load_metadata();
}

void VOSHealthReporter::reconfigure()
{
    load_local_json_report_path();
    m_document.load_metadata();
}

bool VOSHealthReporter::need_reconf(bool&)
{
    return true;
}

void VOSHealthReporter::load_local_json_report_path()
{
    const auto before = m_local_json_report_path;
    if (!m_conf->config.lookupValue(config::key::local_json_report_path,
                                    m_local_json_report_path)) {
        logger().error("Failed to load path of JSON report file, not saving reports locally - "
                       "might impact VOS health monitoring!");
        m_local_json_report_path.clear();
    } else if (m_local_json_report_path != before) {
        logger().info("Updated local JSON report path to ",
                      m_local_json_report_path.empty() ? "<empty>" : m_local_json_report_path);
        platform::remove_leftovers(m_local_json_report_path);
    }
}

std::string VOSHealthReporter::create_report()
{
    auto root = m_document.collect();
    // All digits in the local copy: whoever reads it may want to compute with it.
    const bool keep_copy = !m_local_json_report_path.empty();
    const auto copy = keep_copy ? libvariant::write_json(root, {{"pretty", true}}) + "\n" : "";
    auto text = HealthDocument::transmitted_text(std::move(root));
    save_local_copy(copy);
    return text;
}

void VOSHealthReporter::save_local_copy(const std::string& text) const
{
    if (m_local_json_report_path.empty()) {
        logger().info("Local JSON report path is not configured, not creating it - might affect "
                      "VOS health monitoring!");
        return;
    }
    logger().info("Creating local JSON report path at ", m_local_json_report_path);
    platform::replace_file(m_local_json_report_path, text);
}
