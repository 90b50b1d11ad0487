// The lists and arrays that a merge unites instead of taking the user's.
#pragma once

#include <libconfig.h++>

namespace nyx {

// Each adds the union to `output` under the name and with the container type
// (list or array) of the template. False, and nothing is added, when one of the
// two is no such sequence or has an element of another form.

/// Port ranges, ascending, overlapping and adjacent ones joined. An element is
/// a text ("8000-8010", "80"), a number, or a list or array of the first and
/// the last port. The union is written as texts if there are texts; or else, in
/// a list, as numbers and pairs, and in an array as one number for each port.
bool merge_port_ranges(const libconfig::Setting& from_template, const libconfig::Setting& current,
                       libconfig::Setting& output);

/// Address-translation rules: a list of groups, told apart by "original_addr"
/// and "new_host_name". In the template's order, the user's rule in the place
/// of one with the same key; then the user's others. Elements without a key are
/// kept of the user's alone.
bool merge_rules(const libconfig::Setting& from_template, const libconfig::Setting& current,
                 libconfig::Setting& output);

/// Addresses as texts: the user's, then those that only the template has.
bool merge_addresses(const libconfig::Setting& from_template, const libconfig::Setting& current,
                     libconfig::Setting& output);

} // namespace nyx
