// One configuration file, several processes. VOS_CONFIG_ROUNDS sets how often.
#include "common/nyx_configurator.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <iostream>
#include <random>

using nyx::AConfigurator;

namespace {

int rounds(int by_default)
{
    const char* count = std::getenv("VOS_CONFIG_ROUNDS");
    return count != nullptr ? std::atoi(count) : by_default;
}

/// Runs `work` in a process of its own.
pid_t in_child(const std::function<void()>& work)
{
    const auto pid = ::fork();
    if (pid != 0)
        return pid;
    try {
        work();
        ::_exit(0);
    } catch (const std::exception& error) {
        std::cerr << nyx::configuration_error_text(error) << '\n';
        ::_exit(1);
    }
}

int end_of(pid_t pid)
{
    int status = -1;
    ::waitpid(pid, &status, 0);
    return status;
}

constexpr int key_count = 60;

/// `key_count` keys, two of them the counters a and b.
std::string many_keys(std::size_t length)
{
    std::string text = "a = 0;\nb = 0;\n";
    for (int i = 2; i < key_count; ++i)
        text += "key_" + std::to_string(i) + " = \"" + std::string(length, 'x') + "\";\n";
    return text;
}

bool has_all_keys(const AConfigurator& conf)
{
    return conf.config.getRoot().getLength() == key_count;
}

void save(AConfigurator& conf)
{
    if (!conf.save_configuration())
        throw std::runtime_error("not saved");
}

/// Counts up the number that `name` has.
void count_up(AConfigurator& conf, const std::string& name)
{
    conf.edit_file([&](std::string text) {
        const auto start = text.find(name + " = ") + name.size() + 3;
        const auto length = text.find(';', start) - start;
        const auto next = std::stoi(text.substr(start, length)) + 1;
        return text.replace(start, length, std::to_string(next));
    });
}

TEST(ConfigurationFile, two_processes_lose_no_key_and_no_change)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", many_keys(40));
    const int count = rounds(150);
    const auto start = [&](const std::function<void(AConfigurator&)>& write) {
        return in_child([&] {
            AConfigurator conf(path.c_str(), false);
            for (int i = 0; i < count; ++i) {
                write(conf);
                conf.read_file();
                if (!has_all_keys(conf))
                    throw std::runtime_error("keys are lost");
            }
        });
    };
    const auto first = start([](AConfigurator& conf) { count_up(conf, "a"); });
    const auto second = start([](AConfigurator& conf) { count_up(conf, "b"); });
    EXPECT_EQ(end_of(first) + end_of(second), 0);
    const AConfigurator conf(path.c_str(), false);
    EXPECT_EQ(static_cast<int>(conf.config.lookup("a")), count);
    EXPECT_EQ(static_cast<int>(conf.config.lookup("b")), count);
    const auto third = start(save);
    const auto fourth = start(save);
    EXPECT_EQ(end_of(third) + end_of(fourth), 0);
}

TEST(ConfigurationFile, kill_during_a_save_leaves_a_file_that_parses)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", many_keys(4000));
    std::minstd_rand random(1);
    std::uniform_int_distribution<unsigned> microseconds(2000, 10000);
    int interrupted = 0;
    for (int i = 0; i < rounds(150); ++i) {
        const auto saver = in_child([&] {
            AConfigurator conf(path.c_str(), false);
            for (;;)
                save(conf);
        });
        ::usleep(microseconds(random));
        ::kill(saver, SIGKILL);
        end_of(saver);
        interrupted += std::filesystem::exists(path + ".tmp") ? 1 : 0;
        AConfigurator conf(path.c_str(), false);
        ASSERT_TRUE(has_all_keys(conf)) << i;
    }
    AConfigurator conf(path.c_str(), false);
    const auto broken = [](const std::string& text) { return text + "b = ;"; };
    EXPECT_THROW(conf.edit_file(broken), libconfig::ParseException);
    std::cout << interrupted << " saves were interrupted\n";
    conf.read_file();
    save(conf);
    EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
}

} // namespace
