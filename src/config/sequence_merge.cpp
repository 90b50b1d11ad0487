#include "config/sequence_merge.h"

#include "config/port_ranges.h"
#include "config/setting_copy.h"

#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace nyx {

namespace {

using libconfig::Setting;

/// How ranges of more than one port are written.
enum class PortForm { texts, numbers, lists, arrays };

bool is_sequence(const Setting& setting)
{
    return setting.isList() || setting.isArray();
}

std::optional<PortRange> port_range_of(const Setting& element)
{
    if (element.getType() == Setting::TypeString)
        return parse_port_range(element.c_str());
    const bool pair = is_sequence(element) && element.getLength() == 2;
    const auto first = integer_of(pair ? element[0] : element);
    const auto last = integer_of(pair ? element[1] : element);
    return first && last ? make_port_range(*first, *last) : std::nullopt;
}

/// False when there is anything else in `sequence`.
bool add_port_ranges(const Setting& sequence, std::vector<PortRange>& ranges)
{
    for (int at = 0; at < sequence.getLength(); ++at) {
        const auto range = port_range_of(sequence[at]);
        if (!range)
            return false;
        ranges.push_back(*range);
    }
    return true;
}

/// The form of the first of `ranges` that is more than a number, if there is one.
std::optional<PortForm> form_in(const Setting& ranges, bool texts_count)
{
    for (int at = 0; at < ranges.getLength(); ++at) {
        const auto& element = ranges[at];
        if (element.isAggregate())
            return element.isArray() ? PortForm::arrays : PortForm::lists;
        if (texts_count && element.getType() == Setting::TypeString)
            return PortForm::texts;
    }
    return std::nullopt;
}

/// The template's form; the user's where the template has no element, or where
/// numbers alone do not tell how a list writes its pairs.
PortForm port_form_of(const Setting& from_template, const Setting& current)
{
    const bool in_array = from_template.isArray(); // which holds no pairs
    const bool empty = from_template.getLength() == 0;
    if (in_array && !empty)
        return form_in(from_template, true).value_or(PortForm::numbers);
    auto form = form_in(from_template, true);
    if (!form)
        form = form_in(current, empty);
    if (in_array)
        return form ? PortForm::texts : PortForm::numbers;
    return form.value_or(PortForm::lists);
}

void add_port_range(const PortRange& range, PortForm form, Setting& output)
{
    if (form == PortForm::texts) {
        output.add(Setting::TypeString) = port_range_text(range);
    } else if (form == PortForm::numbers || range.first == range.last) {
        for (int port = range.first; port <= range.last; ++port)
            output.add(Setting::TypeInt) = port;
    } else {
        auto& pair = output.add(form == PortForm::arrays ? Setting::TypeArray : Setting::TypeList);
        pair.add(Setting::TypeInt) = int{range.first};
        pair.add(Setting::TypeInt) = int{range.last};
    }
}

using RuleKey = std::pair<std::string, std::string>;

/// Nothing when `rule` is no group or has neither part of a key.
std::optional<RuleKey> rule_key(const Setting& rule)
{
    RuleKey key;
    if (!rule.isGroup())
        return std::nullopt;
    const bool has_address = rule.lookupValue("original_addr", key.first);
    const bool has_name = rule.lookupValue("new_host_name", key.second);
    return has_address || has_name ? std::optional(key) : std::nullopt;
}

bool is_sequence_of_texts(const Setting& setting)
{
    for (int at = 0; is_sequence(setting) && at < setting.getLength(); ++at)
        if (setting[at].getType() != Setting::TypeString)
            return false;
    return is_sequence(setting);
}

} // namespace

bool merge_port_ranges(const Setting& from_template, const Setting& current, Setting& output)
{
    std::vector<PortRange> ranges;
    if (!is_sequence(from_template) || !is_sequence(current) ||
        !add_port_ranges(from_template, ranges) || !add_port_ranges(current, ranges))
        return false;
    const auto form = port_form_of(from_template, current);
    auto& merged = output.add(from_template.getName(), from_template.getType());
    for (const auto& range : join_port_ranges(ranges))
        add_port_range(range, form, merged);
    return true;
}

bool merge_rules(const Setting& from_template, const Setting& current, Setting& output)
{
    if (!from_template.isList() || !current.isList())
        return false;
    std::map<RuleKey, const Setting*> of_user;
    for (int at = 0; at < current.getLength(); ++at)
        if (const auto key = rule_key(current[at]))
            of_user.emplace(*key, &current[at]);
    auto& merged = output.add(from_template.getName(), Setting::TypeList);
    std::set<RuleKey> done;
    for (int at = 0; at < from_template.getLength(); ++at) {
        const auto key = rule_key(from_template[at]);
        if (!key || !done.insert(*key).second)
            continue;
        const auto same = of_user.find(*key);
        copy_setting(same != of_user.end() ? *same->second : from_template[at], merged);
    }
    for (int at = 0; at < current.getLength(); ++at) {
        const auto key = rule_key(current[at]);
        if (!key || done.insert(*key).second)
            copy_setting(current[at], merged);
    }
    return true;
}

bool merge_addresses(const Setting& from_template, const Setting& current, Setting& output)
{
    if (!is_sequence_of_texts(from_template) || !is_sequence_of_texts(current))
        return false;
    auto& merged = output.add(from_template.getName(), from_template.getType());
    std::set<std::string> known;
    for (const auto* addresses : {&current, &from_template})
        for (int at = 0; at < addresses->getLength(); ++at)
            if (known.insert((*addresses)[at].c_str()).second)
                copy_setting((*addresses)[at], merged);
    return true;
}

} // namespace nyx
