// One configuration file, several processes.
#include "common/nyx_configurator.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <random>

using nyx::AConfigurator;

namespace {

constexpr int rounds = 150;
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
std::string many_keys(std::size_t length)
{
    std::string text = "a = \"\";\nb = \"\";\n";
    for (int i = 2; i < key_count; ++i)
        text += "key_" + std::to_string(i) + " = \"" + std::string(length, 'x') + "\";\n";
    return text;
}

void save(AConfigurator& conf)
{
    if (!conf.save_configuration())
        throw std::runtime_error("not saved");
}

TEST(ConfigurationFile, two_processes_lose_no_key_and_no_change)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", many_keys(40));
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
    in_two([](AConfigurator& conf, char) { save(conf); });
}

TEST(ConfigurationFile, kill_during_a_save_leaves_a_file_that_parses)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", many_keys(4000));
    std::minstd_rand random(1);
    std::uniform_int_distribution<unsigned> microseconds(2000, 10000);
    for (int i = 0; i < rounds; ++i) {
        const auto saver = in_child([&] {
            AConfigurator conf(path.c_str(), false);
            for (;;)
                save(conf);
        });
        ::usleep(microseconds(random));
        ::kill(saver, SIGKILL);
        end_of(saver);
        AConfigurator conf(path.c_str(), false);
        ASSERT_EQ(conf.config.getRoot().getLength(), key_count) << i;
    }
    AConfigurator conf(path.c_str(), false);
    const auto broken = [](const std::string& text) { return text + "b = ;"; };
    EXPECT_THROW(conf.edit_file(broken), libconfig::ParseException);
    conf.read_file();
    save(conf);
    const std::filesystem::directory_iterator left(folder.path());
    EXPECT_EQ(std::distance(begin(left), end(left)), 2) << "the file and its lock";
}

} // namespace
