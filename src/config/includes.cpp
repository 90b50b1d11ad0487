#include "config/includes.h"

#include "config/source_text.h"
#include "platform/file/text_file.h"

#include <sys/stat.h>

namespace nyx {

namespace {

constexpr int deepest = 10; // libconfig's own bound

/// One walk through a text and the files that it includes.
class IncludeWalk {
public:
    text::Outcome check(const std::string& text, int depth);
    text::Outcome check_file(const std::string& path, int depth);

private:
    /// libconfig reads in the same order and refuses the text where the walk is
    /// too deep: what follows is not looked at, of files that include each other
    /// it would be millions.
    bool m_ended{false};
};

text::Outcome IncludeWalk::check_file(const std::string& path, int depth)
{
    m_ended = depth > deepest;
    return m_ended ? text::done() : check(platform::read_text_file(path).value_or(""), depth);
}

text::Outcome IncludeWalk::check(const std::string& text, int depth)
{
    if (text.find("@include") == std::string::npos)
        return text::done();
    for (const auto& path : ConfigText(text).included()) {
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode))
            return text::Failure{"includes " + path + ", which is not a regular file"};
        if (auto included = check_file(path, depth + 1); !included || m_ended)
            return included;
    }
    return text::done();
}

} // namespace

text::Outcome check_includes(const std::string& text)
{
    return IncludeWalk().check(text, 0);
}

text::Outcome check_includes_of_file(const std::string& path)
{
    return IncludeWalk().check_file(path, 0);
}

} // namespace nyx
