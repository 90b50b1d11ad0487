#include "config/tree_merge.h"

#include "config/sequence_merge.h"
#include "config/setting_copy.h"

#include <map>
#include <string_view>
#include <utility>

namespace nyx {

namespace {

using libconfig::Setting;

/// One merge; each operation adds one setting to `output`.
class TreeMerger {
public:
    void merge_children(const Setting& from_template, const Setting& current, Setting& output);
    std::vector<std::string> take_remarks() { return std::move(m_remarks); }

private:
    void merge_setting(const Setting& from_template, const Setting& current, Setting& output);
    bool merge_special(const Setting& from_template, const Setting& current, Setting& output);
    void merge_group(const Setting& from_template, const Setting& current, Setting& output);
    void merge_scalar(const Setting& from_template, const Setting& current, Setting& output);
    void merge_array(const Setting& from_template, const Setting& current, Setting& output);
    void merge_list(const Setting& from_template, const Setting& current, Setting& output);
    void keep_template(const Setting& from_template, const Setting& current, Setting& output);

    std::vector<std::string> m_remarks;
};

void TreeMerger::merge_children(const Setting& from_template, const Setting& current,
                                Setting& output)
{
    // An index of its own: libconfig walks all names for each look-up.
    std::map<std::string_view, const Setting*> of_user;
    for (int at = 0; at < current.getLength(); ++at)
        of_user.emplace(current[at].getName(), &current[at]);
    for (int at = 0; at < from_template.getLength(); ++at) {
        const auto& child = from_template[at];
        const auto same = of_user.find(child.getName());
        if (same == of_user.end()) {
            copy_setting(child, output);
            continue;
        }
        merge_setting(child, *same->second, output);
        of_user.erase(same);
    }
    for (int at = 0; at < current.getLength(); ++at)
        if (of_user.contains(current[at].getName()))
            copy_setting(current[at], output);
}

void TreeMerger::merge_setting(const Setting& from_template, const Setting& current,
                               Setting& output)
{
    if (merge_special(from_template, current, output))
        return;
    if (from_template.isGroup())
        merge_group(from_template, current, output);
    else if (from_template.isArray())
        merge_array(from_template, current, output);
    else if (from_template.isList())
        merge_list(from_template, current, output);
    else
        merge_scalar(from_template, current, output);
}

/// The sequences whose elements are united. False, and nothing is done, for a
/// setting of another name or with elements of another form.
bool TreeMerger::merge_special(const Setting& from_template, const Setting& current,
                               Setting& output)
{
    const std::string_view name = from_template.getName();
    if (name == "service_port_ranges" || name == "udp_port_ranges")
        return merge_port_ranges(from_template, current, output);
    if (name == "rules")
        return merge_rules(from_template, current, output);
    if (name == "nyx_out_ip")
        return merge_addresses(from_template, current, output);
    return false;
}

void TreeMerger::merge_group(const Setting& from_template, const Setting& current, Setting& output)
{
    if (!current.isGroup())
        keep_template(from_template, current, output);
    else
        merge_children(from_template, current,
                       output.add(from_template.getName(), Setting::TypeGroup));
}

void TreeMerger::merge_scalar(const Setting& from_template, const Setting& current, Setting& output)
{
    auto& merged = output.add(from_template.getName(), from_template.getType());
    if (assign_fitting(current, merged))
        return;
    output.remove(from_template.getName());
    keep_template(from_template, current, output);
}

/// The elements keep the type that they have in the template; an empty one
/// says nothing of it.
void TreeMerger::merge_array(const Setting& from_template, const Setting& current, Setting& output)
{
    bool fits = current.isArray();
    if (fits && from_template.getLength() == 0)
        return copy_setting(current, output);
    auto& merged = output.add(from_template.getName(), Setting::TypeArray);
    for (int at = 0; fits && at < current.getLength(); ++at)
        fits = assign_fitting(current[at], merged.add(from_template[0].getType()));
    if (fits)
        return;
    output.remove(from_template.getName());
    keep_template(from_template, current, output);
}

void TreeMerger::merge_list(const Setting& from_template, const Setting& current, Setting& output)
{
    if (current.isList())
        copy_setting(current, output);
    else
        keep_template(from_template, current, output);
}

void TreeMerger::keep_template(const Setting& from_template, const Setting& current,
                               Setting& output)
{
    copy_setting(from_template, output);
    const bool elements = from_template.isArray() && current.isArray();
    const auto& expected = elements ? from_template[0] : from_template;
    const auto& found = elements ? current[0] : current;
    m_remarks.push_back(from_template.getPath() + (elements ? ": elements: " : ": ") +
                        type_text(found.getType()) + " does not fit; the template has " +
                        type_text(expected.getType()) + ", and its value stays");
}

} // namespace

std::vector<std::string> merge_trees(const Setting& template_root, const Setting& current_root,
                                     Setting& output)
{
    TreeMerger merger;
    merger.merge_children(template_root, current_root, output);
    return merger.take_remarks();
}

} // namespace nyx
