// One line of a screen: text and bars, cut at the screen's edge.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vosctl {

/// How a screen is drawn.
struct ScreenStyle {
    std::size_t width{100};
    std::size_t height{0}; ///< lines; 0: no bound
    bool colour{false};    ///< ANSI colours
    bool unicode{false};   ///< block bars in UTF-8; otherwise ASCII
};

enum class Colour { plain, bold, dim, green, yellow, red };

/// Collects the pieces of one line from left to right. What is beyond the
/// width is left out; colours cost no width.
class ScreenLine {
public:
    explicit ScreenLine(const ScreenStyle& style) : m_style(style) {}

    /// Text from anywhere: what is no printable ASCII shows as "?".
    ScreenLine& text(std::string_view text, Colour colour = Colour::plain);
    /// The same in a column of `width`; one that is too long is cut.
    ScreenLine& left(std::string_view text, std::size_t width, Colour colour = Colour::plain);
    ScreenLine& right(std::string_view text, std::size_t width, Colour colour = Colour::plain);
    /// A bar of `cells` that `share` (0 to 1) fills.
    ScreenLine& bar(double share, std::size_t cells, Colour colour = Colour::plain);

    /// The line, without blanks at its end and without a line feed.
    std::string str() const;

private:
    void add(std::string_view glyph, Colour colour);
    void end_colour();

    const ScreenStyle& m_style; ///< outlives the line
    std::string m_line;
    std::size_t m_columns{0};
    Colour m_colour{Colour::plain};
};

/// Green, from `warn` percent on yellow, from `alarm` on red.
Colour load_colour(double percent, double warn = 70, double alarm = 90);

} // namespace vosctl
