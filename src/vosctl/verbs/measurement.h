// Measuring this node from within vosctl.
#pragma once

#include "common/nyx_configurator.h"
#include "report/health_document.h"

#include <memory>

namespace vosctl {

/// The collectors of a health document, started so that the first document can
/// be collected at once: waits until a second of the wall clock begins. `conf`
/// must outlive them. Throws as HealthDocument's constructor does.
std::unique_ptr<HealthDocument> start_measuring(nyx::AConfigurator& conf);

} // namespace vosctl
