#include "vosctl/screen/screen_line.h"

#include "text/printable.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vosctl {

namespace {

/// From an eighth of a cell to a whole one.
constexpr std::array<const char*, 8> blocks{"\u258f", "\u258e", "\u258d", "\u258c",
                                            "\u258b", "\u258a", "\u2589", "\u2588"};
constexpr const char* ansi_end = "\x1b[0m";

const char* ansi(Colour colour)
{
    constexpr std::array<const char*, 6> codes{"",         "\x1b[1m",  "\x1b[2m",
                                               "\x1b[32m", "\x1b[33m", "\x1b[31m"};
    return codes.at(static_cast<std::size_t>(colour));
}

} // namespace

void ScreenLine::end_colour()
{
    if (m_colour != Colour::plain)
        m_line += ansi_end;
    m_colour = Colour::plain;
}

/// `glyph` fills one column.
void ScreenLine::add(std::string_view glyph, Colour colour)
{
    if (m_columns >= m_style.width)
        return;
    if (m_style.colour && colour != m_colour) {
        end_colour();
        m_line += ansi(colour);
        m_colour = colour;
    }
    m_line += glyph;
    ++m_columns;
}

ScreenLine& ScreenLine::text(std::string_view text, Colour colour)
{
    const auto shown = text::printable(text, m_style.width);
    for (const auto& byte : shown)
        add({&byte, 1}, colour);
    return *this;
}

ScreenLine& ScreenLine::left(std::string_view text, std::size_t width, Colour colour)
{
    const auto shown = text.substr(0, width);
    this->text(shown, colour);
    return this->text(std::string(width - shown.size(), ' '));
}

ScreenLine& ScreenLine::right(std::string_view text, std::size_t width, Colour colour)
{
    const auto shown = text.substr(0, width);
    this->text(std::string(width - shown.size(), ' '));
    return this->text(shown, colour);
}

ScreenLine& ScreenLine::bar(double share, std::size_t cells, Colour colour)
{
    constexpr std::size_t parts = blocks.size();
    const double filled = std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 0.0;
    const auto eighths =
        static_cast<std::size_t>(std::lround(filled * static_cast<double>(cells * parts)));
    for (std::size_t cell = 0; cell < cells; ++cell) {
        const auto rest = std::min(parts, eighths - std::min(eighths, cell * parts));
        if (m_style.unicode)
            add(rest == 0 ? " " : blocks[rest - 1], rest == 0 ? Colour::plain : colour);
        else
            add(rest < parts / 2 ? "." : "#", rest < parts / 2 ? Colour::dim : colour);
    }
    return *this;
}

std::string ScreenLine::str() const
{
    auto line = m_line;
    if (m_colour != Colour::plain)
        line += ansi_end;
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

Colour load_colour(double percent, double warn, double alarm)
{
    return percent >= alarm ? Colour::red : percent >= warn ? Colour::yellow : Colour::green;
}

} // namespace vosctl
