// The text of a configuration file, for what its tree does not know: comments,
// included files, and numbers as they are written.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nyx {

/// A number of which libconfig keeps no more than the lower bits.
struct CutNumber {
    std::string path;  ///< of its setting, with "[]" for the place in a list or an array
    std::string fault; ///< the number as it is written, and what is wrong with it
    unsigned int line; ///< in the text, from 1
};

/// A file's text cut into tokens. Takes any text; what it finds in one that
/// libconfig refuses means nothing. Pure.
class ConfigText {
public:
    explicit ConfigText(std::string text);

    /// The files that the text includes, as written.
    std::vector<std::string> included() const;

    /// The value of the setting at the dotted `path` as it is written, a part of
    /// the text that this object holds; nothing when it is not there, or lies in
    /// a list or an included file.
    std::optional<std::string_view> value_of(std::string_view path) const&;
    std::optional<std::string_view> value_of(std::string_view path) const&& = delete;

    /// The decimal and hexadecimal numbers in the text itself that do not fit 32
    /// bits, or 64 with the suffix L.
    std::vector<CutNumber> cut_numbers() const;

    /// The text with `literal` as the value of `path`; all else, comments too,
    /// is kept. Missing settings and groups are added at the end of the group
    /// that they belong to. Nothing when a name on the way is not a group.
    std::optional<std::string> with_value(std::string_view path, std::string_view literal) const;

private:
    struct Token {
        char kind; ///< 'w' word, 's' string, 'i' name of an included file, or the symbol
        std::size_t begin;
        std::size_t end;
    };
    /// Where a path leads: to the tokens of its value, or to the end of the
    /// group where names[depth] and what follows is missing.
    struct Place {
        bool found;
        std::size_t begin; ///< offset in the text
        std::size_t end;
        std::size_t depth;
    };

    std::size_t read_token(std::size_t at);
    bool is_name(std::size_t token) const;
    std::size_t skip_value(std::size_t token) const;
    std::string_view text_of(const Token& token) const;
    std::optional<Place> find(const std::vector<std::string_view>& names) const;
    std::string insertion(const Place& place, const std::vector<std::string_view>& names,
                          std::string_view literal, std::size_t& offset) const;

    std::string m_text;
    std::vector<Token> m_tokens;
};

/// Whether libconfig makes another number of `literal`, one that does not fit 32
/// bits, or 64 with the suffix L; not of what is no number. Pure.
bool is_cut_number(std::string_view literal);

/// The names of a dotted path.
std::vector<std::string_view> path_names(std::string_view path);

} // namespace nyx
