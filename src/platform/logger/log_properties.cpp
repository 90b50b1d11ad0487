#include "platform/logger/log_properties.h"

#include "text/words.h"

#include <log4cpp/Priority.hh>

#include <stdexcept>

namespace {

std::string_view without_first_word(std::string_view name)
{
    for (const std::string_view word : {"log4cpp.", "log4j."})
        if (name.starts_with(word))
            return name.substr(word.size());
    return name;
}

std::string variable(const std::string& name, const LogProperties& earlier, FindVariable find)
{
    if (name == "${")
        return name;
    if (const char* value = find(name.c_str()); value != nullptr)
        return value;
    const auto property = earlier.find(name);
    return property != earlier.end() ? property->second.value : "";
}

std::string with_variables(std::string_view text, const LogProperties& earlier, FindVariable find)
{
    std::string result;
    while (true) {
        const auto begin = text.find("${");
        const auto end = begin == std::string_view::npos ? begin : text.find('}', begin + 2);
        if (end == std::string_view::npos)
            return result.append(text);
        const std::string name(text.substr(begin + 2, end - begin - 2));
        result.append(text.substr(0, begin)).append(variable(name, earlier, find));
        text.remove_prefix(end + 1);
    }
}

} // namespace

LogProperties parse_log_properties(std::string_view text, FindVariable find)
{
    LogProperties properties;
    for (int number = 1; auto line = text::next_line(text); ++number) {
        *line = line->substr(0, line->find('#'));
        const auto equals = line->find('=');
        if (equals == std::string_view::npos)
            continue;
        const auto name = text::trimmed(line->substr(0, equals));
        const auto value = text::trimmed(line->substr(equals + 1));
        properties.try_emplace(std::string(without_first_word(name)),
                               LogProperty{std::string(name),
                                           find == nullptr
                                               ? std::string(value)
                                               : with_variables(value, properties, find),
                                           number});
    }
    return properties;
}

text::Failure refusal(const LogProperty& property, const std::string& reason)
{
    return {"line " + std::to_string(property.line) + ": " + property.written + "=" +
            property.value + ": " + reason};
}

text::Result<int> log_level(const LogProperty& property, const std::string& value)
{
    try {
        return log4cpp::Priority::getPriorityValue(value);
    } catch (const std::invalid_argument&) {
        return refusal(property, "there is no level \"" + value + "\"");
    }
}
