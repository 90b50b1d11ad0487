#include "config/includes.h"

#include "config/source_text.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace nyx {

namespace {

constexpr int deepest = 10; // libconfig's own bound

std::string find_obstacle(const std::string& text, int depth);

std::string find_obstacle_in_file(const std::string& path, int depth)
{
    if (depth > deepest)
        return {};
    const std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return find_obstacle(text.str(), depth);
}

std::string find_obstacle(const std::string& text, int depth)
{
    if (text.find("@include") == std::string::npos)
        return {};
    for (const auto& path : ConfigText(text).included()) {
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode))
            return "includes " + path + ", which is not a regular file";
        if (auto obstacle = find_obstacle_in_file(path, depth + 1); !obstacle.empty())
            return obstacle;
    }
    return {};
}

} // namespace

std::string include_obstacle(const std::string& text)
{
    return find_obstacle(text, 0);
}

std::string include_obstacle_of_file(const std::string& path)
{
    return find_obstacle_in_file(path, 0);
}

} // namespace nyx
