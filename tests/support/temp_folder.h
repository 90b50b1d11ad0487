// A folder that lives as long as the test; what the process holds open.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

inline std::ptrdiff_t open_descriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

class TempFolder {
public:
    TempFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vos_test.XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::string path() const { return m_path; }
    std::ptrdiff_t entries() const
    {
        const std::filesystem::directory_iterator all(m_path);
        return std::distance(begin(all), end(all));
    }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    /// Writes a file, with the folders on its way; returns its path.
    std::string write(const std::string& name, const std::string& content) const
    {
        const auto target = std::filesystem::path(m_path) / name;
        std::filesystem::create_directories(target.parent_path());
        std::ofstream(target, std::ios::binary) << content;
        return target.string();
    }
    std::string read(const std::string& name) const
    {
        std::ostringstream text;
        text << std::ifstream(file(name), std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string m_path;
};
