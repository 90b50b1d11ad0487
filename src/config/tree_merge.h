// Bringing a newly installed configuration (the template) and a user's existing
// one (the current) together. Pure: trees in, a tree out.
#pragma once

#include <libconfig.h++>

#include <string>
#include <vector>

namespace nyx {

/// Fills `output`, an empty group, with the template's keys in their order and
/// with their types, and with the current values where they fit; then come the
/// keys that only the current tree has. Lists and arrays are the current ones,
/// but for those of config_merge_lists.h. Returns one line for each current
/// value that did not fit, which the output lacks. Throws what libconfig throws.
std::vector<std::string> merge_trees(const libconfig::Setting& template_root,
                                     const libconfig::Setting& current_root,
                                     libconfig::Setting& output);

} // namespace nyx
