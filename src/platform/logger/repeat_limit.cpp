#include "platform/logger/repeat_limit.h"

#include <algorithm>

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hex_digits = "0123456789abcdefABCDEF";

std::string_view beginning(std::string_view text)
{
    return text.substr(0, RepeatLimit::longest_text);
}

} // namespace

std::string without_numbers(std::string_view text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const auto number = std::min(text.find_first_of(digits, at), text.size());
        result.append(text.substr(at, number - at));
        if (number == text.size())
            break;
        const bool hex = text.substr(number).starts_with("0x");
        at = text.find_first_not_of(hex ? hex_digits : digits, hex ? number + 2 : number);
        at = std::min(at, text.size());
        result += '#';
    }
    return result;
}

RepeatLimit::Kind& RepeatLimit::kind_of(const Source& source, std::string_view text,
                                        Clock::time_point now)
{
    auto& kinds = m_sources[source];
    auto key = without_numbers(beginning(text));
    auto found = kinds.find(key);
    if (found == kinds.end() && kinds.size() >= most_kinds)
        found = kinds.find(key = ""); // a text that changes in more than its numbers
    if (found == kinds.end()) {
        found = kinds.emplace(std::move(key), Kind{}).first;
        found->second.begin = found->second.last = now;
    }
    return found->second;
}

bool RepeatLimit::admit(const std::string& category, int level, std::string_view text,
                        Clock::time_point now)
{
    auto& kind = kind_of({category, level}, text, now);
    kind.longest_pause = std::max(kind.longest_pause, now - kind.last);
    kind.last = now;
    if (kind.written < most_written) {
        ++kind.written;
        return true;
    }
    kind.text = beginning(text);
    ++kind.repeated;
    return false;
}

std::vector<RepeatLimit::Count> RepeatLimit::due(Clock::time_point now)
{
    std::vector<Count> counts;
    for (auto& [source, kinds] : m_sources) {
        for (auto at = kinds.begin(); at != kinds.end();) {
            auto& kind = at->second;
            const bool hour_over = now - kind.begin >= window;
            const auto silence =
                std::max<Clock::duration>(silent_pauses * kind.longest_pause, shortest_silence);
            const bool silent = kind.counts_told < most_counts && now - kind.last >= silence;
            if (kind.repeated > 0 && (hour_over || silent)) {
                counts.push_back({source.first, source.second, kind.text, kind.repeated});
                kind.repeated = 0;
                ++kind.counts_told;
            }
            at = hour_over ? kinds.erase(at) : std::next(at);
        }
    }
    return counts;
}

std::vector<RepeatLimit::Count> RepeatLimit::all()
{
    auto counts = due(Clock::time_point::max());
    m_sources.clear();
    return counts;
}
