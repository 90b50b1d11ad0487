#include "vosctl/screen/document_values.h"

namespace vosctl {

using libvariant::Variant;

const Variant& member(const Variant& tree, const char* key)
{
    static const Variant none;
    const auto found = tree.is_object() ? tree.find(key) : tree.end();
    return found == tree.end() ? none : *found;
}

double number_at(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_number() ? value.get<double>() : unknown;
}

std::string string_at(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_string() ? value.get<std::string>() : "-";
}

std::string integer_at(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_number_integer() ? value.dump() : "-";
}

} // namespace vosctl
