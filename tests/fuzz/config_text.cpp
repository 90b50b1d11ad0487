// Two configurations, a NUL between them: as text, edited, and merged.
#include "common/config_list_iterator.h"
#include "config/port_ranges.h"
#include "config/source_text.h"
#include "config/tree_merge.h"
#include "fuzz/target.h"

#include <algorithm>

/// libconfig's scanner loses the text that it is at when it meets an error.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libconfig++.so";
}

namespace {

using libconfig::Setting;

/// A store without a file. False when libconfig does not take the text.
bool read(std::string_view text, nyx::AConfigurator& store)
{
    try {
        store.config.setIncludeDir("/dev/null"); // nothing can be included from there
        store.config.readString(std::string(text));
        return true;
    } catch (const libconfig::ParseException&) {
        return false;
    }
}

void print(nyx::AConfigurator& store)
{
    std::string text;
    std::vector<std::string> keys;
    store.get_value_as_a_string("", text);
    REQUIRE(store.list_all_keys(keys) == keys.size());
    for (const auto& key : keys) {
        const auto path = key.substr(0, key.find('='));
        const auto* setting = store.find_setting(path);
        REQUIRE(setting != nullptr && setting->getPath() == path);
    }
    for (int at = 0; at < store.config.getRoot().getLength(); ++at)
        store.get_value_as_a_string(store.config.getRoot()[at].getName(), text);
}

/// Every list at the top is walked, lengthened, emptied and removed.
void edit(nyx::AConfigurator& store)
{
    auto& root = store.config.getRoot();
    for (int at = root.getLength() - 1; at >= 0; --at) {
        const std::string path = root[at].getName();
        const int size = store.get_list_size(path);
        int walked = 0;
        for (nyx::ConfigListIterator element(&store, path.c_str()); !(*element).empty(); ++element)
            walked += element.type() != Setting::TypeNone ? 1 : 0;
        REQUIRE(walked == std::max(0, size));
        REQUIRE(store.add_list_element(path, 1) == (size >= 0));
        REQUIRE(!store.add_array_element(path, "text") || store.get_array_size(path) > 0);
        REQUIRE(store.clear_list_key(path) == (size >= 0));
        REQUIRE(store.del_value(path));
    }
    REQUIRE(store.add_list_key("new.group.list") && store.has_list_key("new.group.list"));
}

void merge(const nyx::AConfigurator& from_template, const nyx::AConfigurator& current)
{
    libconfig::Config merged;
    nyx::merge_trees(from_template.config.getRoot(), current.config.getRoot(), merged.getRoot());
    const auto& root = from_template.config.getRoot();
    for (int at = 0; at < root.getLength(); ++at)
        REQUIRE(std::string(merged.getRoot()[at].getName()) == root[at].getName());
    for (int at = 0; at < current.config.getRoot().getLength(); ++at)
        REQUIRE(merged.getRoot().exists(current.config.getRoot()[at].getName()));
}

} // namespace

void fuzz_one(std::string_view input)
{
    const auto end = std::min(input.find('\0'), input.size());
    nyx::AConfigurator first("", false);
    nyx::AConfigurator second("", false);
    nyx::parse_port_range(input.substr(0, end));
    nyx::ConfigText(std::string(input)).cut_numbers();
    if (!read(input.substr(0, end), first))
        return;
    if (read(input.substr(std::min(end + 1, input.size())), second))
        merge(first, second);
    print(first);
    edit(first);
}
