// One configuration file, several processes.
#include "common/nyx_configurator.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

using nyx::AConfigurator;

namespace {

constexpr int rounds = 50; // each a few synced writes, tens of milliseconds on a slow disk
constexpr int key_count = 60;

/// Runs `work` in a process of its own, which an exception aborts.
pid_t in_child(const std::function<void()>& work) noexcept
{
    const auto pid = ::fork();
    if (pid == 0) {
        work();
        ::_exit(0);
    }
    return pid;
}

int end_of(pid_t pid)
{
    int status = -1;
    ::waitpid(pid, &status, 0);
    return status;
}

/// `key_count` keys, two of them the texts a and b.
std::string many_keys()
{
    std::string text = "a = \"\";\nb = \"\";\n";
    for (int i = 2; i < key_count; ++i)
        text += "key_" + std::to_string(i) + " = \"some text of some length\";\n";
    return text;
}

TEST(ConfigurationFile, two_processes_lose_no_key_and_no_change)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", many_keys());
    const auto in_two = [&](const std::function<void(AConfigurator&, char)>& write) {
        const auto start = [&](char name) {
            return in_child([&] {
                AConfigurator conf(path.c_str(), false);
                for (int i = 0; i < rounds; ++i) {
                    write(conf, name);
                    conf.read_file();
                    if (conf.config.getRoot().getLength() != key_count)
                        throw std::runtime_error("keys are lost");
                }
            });
        };
        const pid_t writers[] = {start('a'), start('b')};
        EXPECT_EQ(end_of(writers[0]) + end_of(writers[1]), 0);
    };
    in_two([](AConfigurator& conf, char name) {
        conf.edit_file([=](std::string text) {
            return text.insert(text.find(std::string{name} + " = \"") + 5, "x");
        });
    });
    const std::string all(rounds, 'x');
    EXPECT_TRUE(folder.read("vos.conf").starts_with("a = \"" + all + "\";\nb = \"" + all + "\";"));
    in_two([](AConfigurator& conf, char) {
        if (!conf.save_configuration())
            throw std::runtime_error("not saved");
    });
}

TEST(ConfigurationFile, edit_that_does_not_parse_leaves_what_was_there)
{
    const TempFolder folder;
    AConfigurator conf(folder.write("vos.conf", "a = 1;").c_str(), false);
    const auto broken = [](const std::string& text) { return text + "b = ;"; };
    EXPECT_THROW(conf.edit_file(broken), libconfig::ParseException);
    conf.read_file();
    EXPECT_EQ(folder.read("vos.conf"), "a = 1;");
    EXPECT_EQ(folder.entries(), 2) << "the file and its lock";
}

} // namespace
