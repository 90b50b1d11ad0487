// The lists and arrays that a merge unites instead of taking the user's.
#pragma once

#include <libconfig.h++>

namespace nyx {

// Each adds the union to `output` under the name and with the container type
// (list or array) of the template. False, and nothing is added, when one of the
// two is no such sequence or has an element of another form.

/// Port ranges, ascending, overlapping and adjacent ones joined. An element is
/// a text ("8000-8010", "80"), a number, or a list or array of the first and
/// the last port. The union is written as the template's first element that is
/// no number: as texts, or as numbers and pairs. Numbers alone stay one for each
/// port in an array; a list gets numbers and pairs, these as lists unless the
/// user's first is an array. An empty template takes the user's form, and of one
/// that is an array pairs become texts.
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
