#include "vosctl/verbs/verb_table.h"

#include "vosctl/verbs/verbs.h"

#include <algorithm>

namespace vosctl {

namespace {

constexpr const Verb* verbs[] = {
    &status_verb, &reload_verb, &stop_verb, &terminate_verb, &top_verb, &bundle_verb, &record_verb,
    &report_verb, &merge_verb,  &seal_verb, &check_verb,     &get_verb, &list_verb,   &set_verb,
};

} // namespace

std::span<const Verb* const> verb_table()
{
    return verbs;
}

const Verb* find_verb(std::string_view name)
{
    const auto* const found =
        std::ranges::find_if(verbs, [name](const Verb* verb) { return verb->name == name; });
    return found == std::end(verbs) ? nullptr : *found;
}

} // namespace vosctl
