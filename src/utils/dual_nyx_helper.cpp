#include "utils/dual_nyx_helper.h"

namespace nyx_utils {

DualNYXHelper& DualNYXHelper::instance(bool dual)
{
    static DualNYXHelper helper(dual);
    return helper;
}

} // namespace nyx_utils
