#include "config/includes.h"

#include "config/source_text.h"
#include "platform/file/text_file.h"

#include <sys/stat.h>

namespace nyx {

namespace {

constexpr int deepest = 10; // libconfig's own bound

text::Outcome check(const std::string& text, int depth);

text::Outcome check_file(const std::string& path, int depth)
{
    if (depth > deepest)
        return text::done();
    return check(platform::read_text_file(path).value_or(""), depth);
}

text::Outcome check(const std::string& text, int depth)
{
    if (text.find("@include") == std::string::npos)
        return text::done();
    for (const auto& path : ConfigText(text).included()) {
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode))
            return text::Failure{"includes " + path + ", which is not a regular file"};
        if (auto included = check_file(path, depth + 1); !included)
            return included;
    }
    return text::done();
}

} // namespace

text::Outcome check_includes(const std::string& text)
{
    return check(text, 0);
}

text::Outcome check_includes_of_file(const std::string& path)
{
    return check_file(path, 0);
}

} // namespace nyx
