// Editing the lists and arrays of AConfigurator's tree.
#include "common/nyx_configurator.h"
#include "platform/logger/sup_logger.h"

namespace nyx {

namespace {

using libconfig::Setting;

/// `setting` when it is there and of that type, or else null.
Setting* only(Setting::Type type, Setting* setting)
{
    return setting != nullptr && setting->getType() == type ? setting : nullptr;
}

/// By its place: libconfig's removal by name takes "a" for "a.b", and knows no
/// elements.
void remove_from_parent(Setting& setting)
{
    setting.getParent().remove(static_cast<unsigned>(setting.getIndex()));
}

bool remove_if(Setting* setting)
{
    if (setting != nullptr)
        remove_from_parent(*setting);
    return true;
}

/// Empties an element of a list where it is: it has no name to be added by.
/// False for anything else.
bool empty_in_place(Setting* setting)
{
    if (setting == nullptr || setting->getName() != nullptr)
        return false;
    while (setting->getLength() > 0)
        setting->remove(static_cast<unsigned>(setting->getLength() - 1));
    return true;
}

/// Whether `setting`, removed, could be added again by `path`: libconfig finds it
/// by other separators than the dot, too, which it does not take in a name.
bool can_be_added_by(const std::string& path, const Setting* setting)
{
    return setting == nullptr || path.substr(path.rfind('.') + 1) == setting->getName();
}

bool append_empty(Setting* list, Setting::Type type)
{
    if (list != nullptr)
        list->add(type);
    return list != nullptr;
}

template <typename Value>
bool append(Setting* sequence, Setting::Type type, const Value& value)
{
    if (sequence == nullptr)
        return false;
    try {
        sequence->add(type) = value;
        return true;
    } catch (const libconfig::SettingException&) {
        return false; // an array of another type
    }
}

int size_of(const Setting* sequence)
{
    return sequence != nullptr ? sequence->getLength() : -1;
}

const Setting* element_of(const Setting* sequence, int index)
{
    return index >= 0 && index < size_of(sequence) ? &(*sequence)[index] : nullptr;
}

std::string path_of(const Setting* setting)
{
    return setting != nullptr ? setting->getPath() : std::string();
}

int type_of(const Setting* setting)
{
    return setting != nullptr ? setting->getType() : Setting::TypeNone;
}

} // namespace

bool AConfigurator::add_branch(const std::string& path, Setting::Type type)
{
    if (find_setting(path) != nullptr)
        return false;
    auto* at = &config.getRoot();
    Setting* first_new = nullptr;
    try {
        std::size_t start = 0;
        for (auto end = path.find('.'); end != std::string::npos; end = path.find('.', start)) {
            auto* next = find_setting(path.substr(0, end));
            if (next == nullptr) {
                next = &at->add(path.substr(start, end - start), Setting::TypeGroup);
                first_new = first_new != nullptr ? first_new : next;
            }
            at = next;
            start = end + 1;
        }
        at->add(path.substr(start), type);
        return true;
    } catch (const libconfig::SettingException&) {
        // A name that libconfig does not take, or something else than a group.
        remove_if(first_new);
        return false;
    }
}

bool AConfigurator::del_value(const std::string& path)
{
    auto* const setting = find_setting(path);
    if (setting == nullptr || setting->isRoot()) {
        SupLogger::get_instance("Configurator")
            .error("Failed removing configuration parameter ", path);
        return false;
    }
    remove_from_parent(*setting);
    return true;
}

bool AConfigurator::has_list_key(const std::string& path) const
{
    return find_list(path) != nullptr;
}

bool AConfigurator::has_array_key(const std::string& path) const
{
    return find_array(path) != nullptr;
}

bool AConfigurator::add_list_key(const std::string& path)
{
    return add_branch(path, Setting::TypeList);
}

bool AConfigurator::add_array_key(const std::string& path)
{
    return add_branch(path, Setting::TypeArray);
}

bool AConfigurator::del_list_key(const std::string& path)
{
    return remove_if(find_list(path));
}

bool AConfigurator::del_array_key(const std::string& path)
{
    return remove_if(find_array(path));
}

bool AConfigurator::clear_list_key(const std::string& path)
{
    auto* const list = find_list(path);
    return empty_in_place(list) ||
           (can_be_added_by(path, list) && del_list_key(path) && add_list_key(path));
}

bool AConfigurator::clear_array_key(const std::string& path)
{
    auto* const array = find_array(path);
    return empty_in_place(array) ||
           (can_be_added_by(path, array) && del_array_key(path) && add_array_key(path));
}

bool AConfigurator::add_list_element_group(const std::string& path)
{
    return append_empty(find_list(path), Setting::TypeGroup);
}

bool AConfigurator::add_list_element_list(const std::string& path)
{
    return append_empty(find_list(path), Setting::TypeList);
}

bool AConfigurator::add_list_element_array(const std::string& path)
{
    return append_empty(find_list(path), Setting::TypeArray);
}

bool AConfigurator::add_list_element(const std::string& path, int value)
{
    return append(find_list(path), Setting::TypeInt, value);
}

bool AConfigurator::add_list_element(const std::string& path, long value)
{
    return append(find_list(path), Setting::TypeInt64, static_cast<long long>(value));
}

bool AConfigurator::add_list_element(const std::string& path, bool value)
{
    return append(find_list(path), Setting::TypeBoolean, value);
}

bool AConfigurator::add_list_element(const std::string& path, const char* value)
{
    return value != nullptr && append(find_list(path), Setting::TypeString, value);
}

bool AConfigurator::add_list_element(const std::string& path, const std::string& value)
{
    return add_list_element(path, value.c_str());
}

bool AConfigurator::add_list_element(const std::string& path, float value)
{
    return append(find_list(path), Setting::TypeFloat, value);
}

bool AConfigurator::add_array_element(const std::string& path, int value)
{
    return append(find_array(path), Setting::TypeInt, value);
}

bool AConfigurator::add_array_element(const std::string& path, long value)
{
    return append(find_array(path), Setting::TypeInt64, static_cast<long long>(value));
}

bool AConfigurator::add_array_element(const std::string& path, bool value)
{
    return append(find_array(path), Setting::TypeBoolean, value);
}

bool AConfigurator::add_array_element(const std::string& path, const char* value)
{
    return value != nullptr && append(find_array(path), Setting::TypeString, value);
}

bool AConfigurator::add_array_element(const std::string& path, const std::string& value)
{
    return add_array_element(path, value.c_str());
}

bool AConfigurator::add_array_element(const std::string& path, float value)
{
    return append(find_array(path), Setting::TypeFloat, value);
}

int AConfigurator::get_list_size(const std::string& path) const
{
    return size_of(find_list(path));
}

int AConfigurator::get_array_size(const std::string& path) const
{
    return size_of(find_array(path));
}

std::string AConfigurator::get_list_element_key(const std::string& path, int index) const
{
    return path_of(element_of(find_list(path), index));
}

std::string AConfigurator::get_array_element_key(const std::string& path, int index) const
{
    return path_of(element_of(find_array(path), index));
}

int AConfigurator::get_list_element_type(const std::string& path, int index) const
{
    return type_of(element_of(find_list(path), index));
}

int AConfigurator::get_array_element_type(const std::string& path, int index) const
{
    return type_of(element_of(find_array(path), index));
}

Setting* AConfigurator::find_list(const std::string& path) const
{
    return only(Setting::TypeList, find_setting(path));
}

Setting* AConfigurator::find_array(const std::string& path) const
{
    return only(Setting::TypeArray, find_setting(path));
}

} // namespace nyx
