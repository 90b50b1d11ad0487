// Names of all kinds.
#include "equality_kinds.h"

#include <unistd.h>

#include <cctype>

namespace {

std::string odd_name()
{
    static const std::vector<std::string> kinds{
        "",
        " ",
        "  x",
        "x ",
        " (x) ",
        ") S 1 2",
        "[kworker/0:1]",
        "a\nb",
        "\n",
        "a\\nb",
        "\\",
        "%s",
        "15-characters-x",
        "123456789012345",
        "a.c",
        "a*",
        "(a|b)",
        "^a$",
        "[a-z]+",
        "\xc3\xa9t\xc3\xa9",
        "\xff\xfe",
        "\xc3",
        "a\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9",
        "\033[31m",
        "\x7f",
        "\x01",
        "\xe2\x82\xac",
        "\xc2\xa0",
        "\t",
        "tab\tbed",
        "-P",
        "0",
        "-"};
    const auto kind = up_to(static_cast<unsigned>(kinds.size()) + 20);
    if (kind < kinds.size())
        return kinds[kind];
    std::string name;
    for (unsigned length = up_to(15); length > 0; --length)
        name += static_cast<char>(kind % 2 == 0 ? 1 + up_to(254) : ' ' + up_to(94));
    return name;
}

/// A part of `name` that can be asked for.
std::string word_of(const std::string& name)
{
    std::string word = name.substr(up_to(static_cast<unsigned>(name.size())));
    std::erase_if(word, [](unsigned char c) {
        return c >= 0x80 || (!std::isalnum(c) && c != '_' && c != '-');
    });
    return word.empty() || word.front() == '-' ? "x" : word;
}

} // namespace

void ask_about_names(Asker& asker)
{
    while (asker.goes_on()) {
        std::vector<std::string> commands;
        constexpr unsigned count = 6;
        for (unsigned i = 0; i < count; ++i) {
            const auto name = odd_name();
            commands.push_back(named(word_of(name)));
            commands.push_back(children_of(start(name, [name] { start(name); })));
        }
        commands.push_back(children_of(::getpid()));
        wait_for_ready(2 * count);
        asker.compare(commands);
        end_all();
    }
}
