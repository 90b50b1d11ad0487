#include "platform/variant/variant.h"

#include "platform/file/atomic_file.h"

#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace libvariant {

namespace {

constexpr int indent_blanks = 2;

/// The double nearest to `value` rounded to `digits` significant digits. The
/// writer prints the shortest text that reads back, which is then no longer
/// than that.
double round_to_digits(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return std::strtod(text, nullptr);
}

void round_numbers(Variant& tree, int digits)
{
    if (tree.is_number_float())
        tree = round_to_digits(tree.get<double>(), digits);
    else if (tree.is_structured())
        for (auto& child : tree)
            round_numbers(child, digits);
}

} // namespace

std::string write_json(const Variant& tree, const Options& options)
{
    if (options.contains("precision"))
        return write_json(Variant(tree), options);
    const int indent = options.value("pretty", false) ? indent_blanks : -1;
    return tree.dump(indent, ' ', false, Variant::error_handler_t::replace);
}

std::string write_json(Variant&& tree, const Options& options)
{
    auto others = options;
    if (others.erase("precision") != 0) {
        // 17 digits tell any two doubles apart, so more would change nothing.
        const int digits = std::min(options["precision"].get<int>(), 17);
        round_numbers(tree, digits);
    }
    return write_json(std::as_const(tree), others);
}

void write_json(std::ostream& out, const Variant& tree, const Options& options)
{
    out << write_json(tree, options);
}

void write_json_file(const std::string& path, const Variant& tree, const Options& options)
{
    platform::replace_file(path, write_json(tree, options) + "\n");
}

Variant read_json(const std::string& text)
{
    try {
        return Variant::parse(text);
    } catch (const Variant::exception& error) {
        throw std::runtime_error(error.what());
    }
}

} // namespace libvariant
