// Whether the agent runs in dual mode, and its version.
#pragma once

#include <string>

namespace nyx_utils {

class DualNYXHelper {
public:
    /// The one object. The first call settles the mode.
    static DualNYXHelper& instance(bool dual = false);

    bool is_dual() const { return m_dual; }
    static std::string get_nyx_version_num() { return "3.91.30"; }

private:
    explicit DualNYXHelper(bool dual) : m_dual(dual) {}

    bool m_dual;
};

} // namespace nyx_utils
