#include "config/source_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

namespace nyx {

namespace {

constexpr std::string_view include_word = "@include";
constexpr std::string_view blanks = " \t\r\n\f\v";
constexpr std::string_view word_letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                          "0123456789_*+-.";

/// `at` when nothing is found before the end.
std::size_t or_end(std::size_t found, const std::string& text)
{
    return std::min(found, text.size());
}

/// Behind the string whose quote is at `at`.
std::size_t end_of_string(const std::string& text, std::size_t at)
{
    for (++at; at < text.size() && text[at] != '"'; ++at)
        if (text[at] == '\\')
            ++at;
    return or_end(at + 1, text);
}

/// Behind the comment at `at`; `at` when there is none.
std::size_t end_of_comment(const std::string& text, std::size_t at)
{
    const std::string_view rest = std::string_view(text).substr(at);
    if (rest.starts_with('#') || rest.starts_with("//"))
        return or_end(text.find('\n', at), text);
    if (!rest.starts_with("/*"))
        return at;
    const auto end = text.find("*/", at + 2);
    return end == std::string::npos ? text.size() : end + 2;
}

/// The bits, 32 or 64, that the number `literal` does not fit; 0 when it does, or
/// is none.
int bits_exceeded(std::string_view literal)
{
    const bool negative = literal.starts_with('-');
    if (negative || literal.starts_with('+'))
        literal.remove_prefix(1);
    const bool hexadecimal = literal.starts_with("0x") || literal.starts_with("0X");
    if (hexadecimal)
        literal.remove_prefix(2);
    const bool wide = literal.ends_with('L');
    while (literal.ends_with('L'))
        literal.remove_suffix(1);
    std::uint64_t value = 0;
    const auto* end = literal.data() + literal.size();
    const auto [stop, error] = std::from_chars(literal.data(), end, value, hexadecimal ? 16 : 10);
    if (stop != end || error == std::errc::invalid_argument)
        return 0;
    const std::uint64_t largest =
        wide ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int32_t>::max();
    // All 64 bits of a hexadecimal number are kept, the topmost as the sign.
    const bool fits = (wide && hexadecimal) || value <= largest + (negative ? 1 : 0);
    return error == std::errc() && fits ? 0 : wide ? 64 : 32;
}

std::string dotted(const std::vector<std::string_view>& names)
{
    std::string path;
    for (const auto name : names)
        path.append(path.empty() || name.empty() ? "" : ".").append(name);
    return path;
}

} // namespace

ConfigText::ConfigText(std::string text) : m_text(std::move(text))
{
    for (std::size_t at = 0; (at = m_text.find_first_not_of(blanks, at)) != std::string::npos;)
        at = read_token(at);
}

/// Takes the token or comment at `at`; returns where it ends.
std::size_t ConfigText::read_token(std::size_t at)
{
    auto end = end_of_comment(m_text, at);
    if (end != at)
        return end;
    if (m_text[at] == '"') {
        end = end_of_string(m_text, at);
        m_tokens.push_back({'s', at, end});
    } else if (m_text.compare(at, include_word.size(), include_word) == 0) {
        const auto quote = or_end(m_text.find('"', at), m_text);
        end = end_of_string(m_text, quote);
        m_tokens.push_back({'i', quote, end});
    } else if (word_letters.find(m_text[at]) != std::string_view::npos) {
        end = or_end(m_text.find_first_not_of(word_letters, at), m_text);
        m_tokens.push_back({'w', at, end});
    } else {
        end = at + 1;
        m_tokens.push_back({m_text[at], at, end});
    }
    return end;
}

std::string_view ConfigText::text_of(const Token& token) const
{
    return std::string_view(m_text).substr(token.begin, token.end - token.begin);
}

std::vector<std::string> ConfigText::included() const
{
    std::vector<std::string> files;
    for (const auto& token : m_tokens)
        if (token.kind == 'i' && token.end >= token.begin + 2)
            files.emplace_back(text_of(token).substr(1, token.end - token.begin - 2));
    return files;
}

bool ConfigText::is_name(std::size_t token) const
{
    return m_tokens[token].kind == 'w' && token + 1 < m_tokens.size() &&
           (m_tokens[token + 1].kind == '=' || m_tokens[token + 1].kind == ':');
}

std::vector<CutNumber> ConfigText::cut_numbers() const
{
    std::vector<CutNumber> numbers;
    std::vector<std::string_view> names{""}; // the setting's, of each level that is open
    for (std::size_t at = 0; at < m_tokens.size(); ++at) {
        const auto& token = m_tokens[at];
        const auto word = text_of(token);
        if (is_name(at)) {
            names.back() = word;
        } else if (word == "{" || word == "[" || word == "(") {
            names.push_back(word == "{" ? "" : "[]");
        } else if ((word == "}" || word == "]" || word == ")") && names.size() > 1) {
            names.pop_back();
        } else if (const int bits = token.kind == 'w' ? bits_exceeded(word) : 0; bits != 0) {
            const auto lines =
                std::ranges::count(std::string_view(m_text).substr(0, token.begin), '\n');
            numbers.push_back({dotted(names),
                               std::string(word) + " does not fit " + std::to_string(bits) +
                                   " bits: libconfig makes another number of it",
                               static_cast<unsigned>(lines) + 1});
        }
    }
    return numbers;
}

/// The token behind the value that begins with `token`.
std::size_t ConfigText::skip_value(std::size_t token) const
{
    const auto is_one_of = [this](std::size_t at, std::string_view kinds) {
        return at < m_tokens.size() && kinds.find(m_tokens[at].kind) != std::string_view::npos;
    };
    if (is_one_of(token, "s")) {
        while (is_one_of(token, "s")) // adjacent strings are one text
            ++token;
        return token;
    }
    int depth = 0;
    do {
        if (is_one_of(token, "{[("))
            ++depth;
        else if (is_one_of(token, "}])"))
            --depth;
        ++token;
    } while (depth > 0 && token < m_tokens.size());
    return std::min(token, m_tokens.size());
}

std::optional<ConfigText::Place> ConfigText::find(const std::vector<std::string_view>& names) const
{
    std::size_t depth = 0;
    std::size_t at = 0;
    std::size_t end = m_tokens.size(); // of the group that is searched
    while (at < end) {
        const auto& token = m_tokens[at];
        if (at + 2 >= end || !is_name(at)) { // a separator, or an included file
            ++at;
            continue;
        }
        const auto value = at + 2;
        const auto next = skip_value(value);
        if (text_of(token) != names[depth]) {
            at = next;
        } else if (depth + 1 == names.size()) {
            return Place{true, m_tokens[value].begin, m_tokens[next - 1].end, depth};
        } else if (m_tokens[value].kind == '{' && next - 1 > value) {
            ++depth;
            at = value + 1;
            end = next - 1;
        } else {
            return std::nullopt;
        }
    }
    const auto offset = end < m_tokens.size() ? m_tokens[end].begin : m_text.size();
    return Place{false, offset, offset, depth};
}

std::optional<std::string_view> ConfigText::value_of(std::string_view path) const&
{
    const auto place = find(path_names(path));
    if (!place || !place->found)
        return std::nullopt;
    return std::string_view(m_text).substr(place->begin, place->end - place->begin);
}

/// The lines that add what is missing; `offset` gets the start of the line of
/// a closing brace that stands alone on it.
std::string ConfigText::insertion(const Place& place, const std::vector<std::string_view>& names,
                                  std::string_view literal, std::size_t& offset) const
{
    constexpr std::size_t indent = 4;
    const auto line = place.begin == 0 ? 0 : m_text.rfind('\n', place.begin - 1) + 1;
    const bool alone = m_text.find_first_not_of(" \t", line) >= place.begin;
    offset = alone ? line : place.begin;
    std::string text = alone ? "" : "\n";
    const auto blank = [](std::size_t depth) { return std::string(depth * indent, ' '); };
    for (auto i = place.depth; i + 1 < names.size(); ++i)
        text.append(blank(i)).append(names[i]).append(" = {\n");
    text.append(blank(names.size() - 1)).append(names.back()).append(" = ").append(literal);
    text += ";\n";
    for (auto i = names.size() - 1; i > place.depth; --i)
        text += blank(i - 1) + "};\n";
    return text;
}

std::optional<std::string> ConfigText::with_value(std::string_view path,
                                                  std::string_view literal) const
{
    const auto names = path_names(path);
    const auto place = find(names);
    if (!place)
        return std::nullopt;
    auto text = m_text;
    if (place->found) {
        text.replace(place->begin, place->end - place->begin, literal);
        return text;
    }
    std::size_t offset = 0;
    const auto added = insertion(*place, names, literal, offset);
    text.insert(offset, added);
    return text;
}

std::vector<std::string_view> path_names(std::string_view path)
{
    std::vector<std::string_view> names;
    for (;;) {
        const auto dot = path.find('.');
        names.push_back(path.substr(0, dot));
        if (dot == std::string_view::npos)
            return names;
        path.remove_prefix(dot + 1);
    }
}

bool is_cut_number(std::string_view literal)
{
    return bits_exceeded(literal) != 0;
}

} // namespace nyx
