#include "platform/logger/fatal_signals.h"
#include "platform/logger/gathered_records.h"
#include "platform/logger/log_settings.h"
#include "platform/logger/record_buffer.h"
#include "platform/logger/repeat_limit.h"
#include "platform/logger/sup_logger.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace {

std::string settings(const std::string& level, const std::string& file)
{
    const std::string name = "log4cpp.appender.F";
    return "log4cpp.rootCategory=" + level + ", F\n" + name + "=FileAppender\n" + name +
           ".fileName=" + file + "\n" + name + ".layout=PatternLayout\n" + name +
           ".layout.ConversionPattern=%c %p %m%n\n";
}

class LoggerTest : public testing::Test {
protected:
    ~LoggerTest() override { SupLogger::shut_down(); }

    TempFolder m_folder;
    SupLogger& m_log = SupLogger::get_instance("Test");
};

TEST_F(LoggerTest, record_is_one_line_unless_it_asks_to_keep_its_lines)
{
    LogSettings::load(m_folder.write("log.properties", settings("INFO", m_folder.file("log"))));
    m_log.info("forged\nTest INFO second");
    m_log.getStream(LogLevel::info).keep_lines() << "body\n{}";
    m_log.debug("off");
    EXPECT_EQ(m_folder.read("log"), "Test INFO forged\\nTest INFO second\nTest INFO body\n{}\n");
}

TEST_F(LoggerTest, file_that_does_not_load_is_named_and_changes_nothing)
{
    const auto good = settings("NOTICE", m_folder.file("log"));
    LogSettings::load(m_folder.write("good", good));
    const auto descriptors = open_descriptors();
    for (const auto& path : {m_folder.file("missing"), m_folder.path()})
        EXPECT_FALSE(LogSettings::check(path)) << path;
    const auto loud = settings("INFO", m_folder.file("other")) + "log4j.";
    const std::pair<std::string, const char*> cases[] = {
        {"", "there is no line log4cpp.rootCategory"},
        {"rootCategory=LOUD, F\n" + loud,
         "line 1: rootCategory=LOUD, F: there is no level \"LOUD\""},
        {"log4j.rootCategory=${EMPTY}\n" + loud, "line 1: log4j.rootCategory=: the root cat"},
        {"log4cpp.rootCategory=INFO, F\n",
         "line 1: log4cpp.rootCategory=INFO, F: the file defines"},
        {loud + "category.Test=INFO,\n",
         "line 6: log4j.category.Test=INFO,: the file defines no app"},
        {loud + "appender.G.fileName=x\n", "log4j.appender.G.fileName=x: the file defines no app"},
        {loud + "appender.G=Telepathy\n",
         "line 6: log4j.appender.G=Telepathy: there is no such type"},
        {loud + "appender.G=FileAppender\n", "the appender has no layout"},
        {loud + "appender.F.threshold=LOUD\n",
         "line 6: log4j.appender.F.threshold=LOUD: there is no"},
        {"appender.F.layout=Tall\n" + loud,
         "line 1: appender.F.layout=Tall: there is no such layout"},
        {"appender.F.layout.ConversionPattern=%Q\n" + loud, "unknown conversion specifier 'Q'"},
        {"appender.F=ConsoleAppender\nappender.F.target=tty\n" + loud,
         "neither stdout nor stderr"}};
    for (const auto& [text, reason] : cases) {
        const auto path = m_folder.write("bad", text);
        EXPECT_THAT(
            [&path] { LogSettings::load(path); },
            testing::ThrowsMessage<std::runtime_error>(testing::AllOf(
                testing::StartsWith("log settings " + path + ": "), testing::HasSubstr(reason))));
        EXPECT_FALSE(LogSettings::check(path));
        EXPECT_TRUE(m_log.is_notice_enabled() && !m_log.is_info_enabled());
    }
    m_log.notice("still here");
    EXPECT_EQ(m_folder.read("log"), "Test NOTICE still here\n");
    EXPECT_EQ(m_folder.read("other"), "");
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(LoggerTest, every_spelling_that_log4cpp_takes_is_taken_and_leaves_no_file_open)
{
    const auto file = settings("${LEVEL}", m_folder.file("log"));
    const auto descriptors = open_descriptors();
    for (const auto& text : {"LEVEL = 600\r\n" + file, "log4j.LEVEL=INFO # routine\n" + file,
                             "LEVEL=DEBUG\nLEVEL=LOUD\nlog4j.category.Other = , F\n" + file,
                             "LEVEL=NOTICE\nlog4cpp.category.Test=INFO\n" + file,
                             "LEVEL=FATAL\ncategory.Test=INFO,F\nadditivity.Test=false\n" + file,
                             "LEVEL=INFO\nappender.F=x.RollingFileAppender\n" + file,
                             "LEVEL=INFO\nappender.F=DailyRollingFileAppender\n" + file}) {
        LogSettings::load(m_folder.write("settings", text));
        m_log.info(text.size());
        const auto record = "Test INFO " + std::to_string(text.size()) + "\n";
        EXPECT_TRUE(m_folder.read("log").ends_with("\n" + record) || m_folder.read("log") == record)
            << text;
        EXPECT_EQ(open_descriptors(), descriptors + 1);
    }
}

TEST_F(LoggerTest, file_that_can_not_be_opened_is_told_of_and_tried_again)
{
    const auto name = m_folder.file("later/log");
    testing::internal::CaptureStderr();
    LogSettings::load(
        m_folder.write("settings", "appender.F=RollingFileAppender\nappender.F.maxFileSize=1\n" +
                                       settings("INFO", name)));
    m_log.info("one");
    m_log.info("two");
    std::filesystem::create_directory(m_folder.file("later"));
    ::usleep(1'050'000);
    m_log.info("three"); // and the file is rolled over
    EXPECT_EQ(m_folder.read("later/log.1"), "Test INFO three\n");
    std::filesystem::remove_all(m_folder.file("later"));
    m_log.info("four"); // gone with the file, and there is no new one
    m_log.info("five");
    const std::string begin = "platform_logger_test: log file " + name;
    const auto lost =
        begin +
        " can not be opened: No such file or directory; until it can, its records go here\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), lost + "Test INFO one\nTest INFO two\n" +
                                                          begin + " is open again\n" + lost +
                                                          "Test INFO five\n");
}

TEST_F(LoggerTest, changed_file_is_loaded_within_a_second_of_the_next_record)
{
    const auto path = m_folder.write("log.properties", settings("ERROR", m_folder.file("log")));
    LogSettings::load(path);
    const auto descriptors = open_descriptors();
    for (const std::string level : {"INFO", "LOUD", "none"}) {
        m_folder.write("log.properties", settings(level, m_folder.file(level)));
        if (level == "none")
            std::filesystem::remove(path);
        ::usleep(1'100'000);
        errno = EBADF;
        m_log.info("after ", level, " ", errno);
        EXPECT_EQ(errno, EBADF);
    }
    const auto log = m_folder.read("INFO");
    EXPECT_TRUE(log.starts_with("Test INFO after INFO 9\n")) << log;
    EXPECT_THAT(log, testing::HasSubstr("the old settings stay"));
    EXPECT_TRUE(log.ends_with("Test INFO after none 9\n")) << log;
    EXPECT_EQ(open_descriptors(), descriptors);
}

/// In a process of its own: what is made before the first logger goes after it.
TEST(LoggerDeathTest, logs_to_the_very_end)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = [] {
        static const struct Late {
            ~Late()
            {
                for (const std::string name : {"Early", "Late"})
                    SupLogger::get_instance(name).warning("in good order");
            }
        } late;
        SupLogger::get_instance("Early").warning("up");
        LogSettings::use_standard_error(LogLevel::warning);
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0),
                "^WARN Early: in.*\nWARN Late: in good order\n$");
}

TEST_F(LoggerTest, gathered_records_keep_their_order_and_wait_for_nothing_grave)
{
    for (const std::string file : {"first", "second"}) {
        // A second appender of the same file, and one of another.
        const auto more = "\nappender.F2=FileAppender\nappender.F2.layout=SimpleLayout\n"
                          "appender.F2.fileName=" +
                          m_folder.file(file) + "\ncategory.Two=INFO, F2\n";
        LogSettings::load(m_folder.write("settings", settings("INFO", m_folder.file(file)) + more));
        const auto gathered = std::make_unique<GatheredRecords>();
        m_log.info("one");
        SupLogger::get_instance("Two").info("two");
        const std::string two = "Test INFO one\nINFO    : two\nTwo INFO two\n";
        EXPECT_NE(m_folder.read(file), two);
        std::thread([&] { m_log.info("three"); }).join();
        EXPECT_EQ(m_folder.read(file), two + "Test INFO three\n");
        {
            const GatheredRecords inner;
        }
        m_log.info("four");
        EXPECT_EQ(m_folder.read(file), two + "Test INFO three\n");
        m_log.error("five");
        m_log.info(std::string(RecordBuffer::capacity, 'x'));
        m_log.info("last");
        const auto text = m_folder.read(file);
        EXPECT_EQ(text.find("Test INFO four\nTest ERROR five\nTest INFO xxx"), two.size() + 16);
        EXPECT_TRUE(text.ends_with("xxx\n"));
    }
    for (const std::string file : {"first", "second"})
        EXPECT_TRUE(m_folder.read(file).ends_with("xxx\nTest INFO last\n"));
}

TEST_F(LoggerTest, gathered_records_roll_a_file_over_where_single_ones_do)
{
    std::string files[2];
    for (const bool together : {false, true}) {
        const TempFolder folder;
        LogSettings::load(
            folder.write("settings", "appender.F=RollingFileAppender\nappender.F.maxFileSize=100\n"
                                     "appender.F.maxBackupIndex=4\n" +
                                         settings("INFO", folder.file("log"))));
        for (int callback = 0; callback < 3; ++callback) {
            const auto gathered = together ? std::make_unique<GatheredRecords>() : nullptr;
            for (int i = 0; i < 7; ++i)
                m_log.info("record ", callback, i);
        }
        for (const auto name : {"log.4", "log.3", "log.2", "log.1", "log"})
            files[together] += name + ("\n" + folder.read(name));
    }
    EXPECT_EQ(files[1], files[0]);
    EXPECT_THAT(files[0], testing::HasSubstr("log.4\nTest INFO record 00\n"));
}

TEST(LoggerDeathTest, what_is_gathered_is_written_once_however_the_process_ends)
{
    const TempFolder folder;
    const std::pair<int, void (*)()> ways[] = {
        {0, [] { std::exit(0); }},
        {SIGABRT, [] { std::abort(); }},
        {SIGQUIT, [] { ::kill(::getpid(), SIGQUIT); }},
        {SIGSEGV, [] {
             auto* const page = ::mmap(nullptr, 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
             *static_cast<volatile char*>(page) = 1;
         }}};
    for (const auto& [signal, way] : ways) {
        const auto log = std::to_string(signal);
        const auto end = [&, way = way] {
            LogSettings::load(folder.write("settings", settings("INFO", folder.file(log))));
            const FatalSignals last_records;
            const GatheredRecords gathered;
            SupLogger::get_instance("Test").info("gathered");
            if (::fork() == 0)
                std::exit(0); // with a copy of the parent's records
            ::wait(nullptr);
            way();
        };
        const auto ended = [signal = signal](int status) {
            return WTERMSIG(status) == signal || // or a sanitizer's own end
                   (signal == SIGSEGV && WEXITSTATUS(status) != 0);
        };
        EXPECT_EXIT(end(), ended, "");
        EXPECT_EQ(folder.read(log), "Test INFO gathered\n");
    }
}

TEST_F(LoggerTest, repeated_warnings_are_counted_unless_debug_records_are_wanted_or_they_answer)
{
    for (const std::string name : {"INFO", "DEBUG", "INFO answers"}) {
        const auto level = name.substr(0, name.find(' '));
        const auto answers = name == level ? nullptr : std::make_unique<AnsweringRecords>();
        LogSettings::load(m_folder.write("settings", settings(level, m_folder.file(name))));
        for (int i = 0; i < 30; ++i) {
            m_log.warning("no file /proc/", i, "/stat");
            m_log.info("routine");
            m_log.fatal("last words");
        }
        SupLogger::shut_down();
        const auto log = m_folder.read(name);
        const bool limited = name == "INFO";
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), limited ? 30 + 30 + 8 + 1 : 90);
        EXPECT_EQ(log.ends_with("WARN no file /proc/29/stat (repeated 22 times)\n"), limited);
    }
}

/// Three hours of one fault, and its end. Every record is written or counted.
TEST(RepeatLimit, keeps_a_lasting_fault_below_200_lines_an_hour)
{
    using namespace std::chrono_literals;
    const std::tuple<std::chrono::milliseconds, std::size_t, std::size_t, std::size_t> cases[] = {
        {100ms, 12, 1, 132}, {60s, 12, 1, 132}, {10min, 4, 1, 24}, {1s, 1, 997, 143}};
    for (const auto& [period, kinds, words, most_lines_an_hour] : cases) {
        SCOPED_TRACE(period.count());
        RepeatLimit limit;
        std::size_t records = 0, told = 0, lines = 0;
        for (RepeatLimit::Clock::time_point now{}, next{}; now.time_since_epoch() < 4h; now += 1s) {
            for (const auto& count : limit.due(now))
                told += count.repeated, ++lines;
            for (; next <= now && now.time_since_epoch() < 3h; next += period)
                for (std::size_t kind = 0; kind < kinds; ++kind, ++records) {
                    const auto word = std::string(1 + records % words, "abcdefghijkl"[kind]);
                    const bool written = limit.admit("C", 400, word + std::to_string(records), now);
                    lines += written, told += written;
                }
        }
        EXPECT_LE(lines, 3 * most_lines_an_hour);
        EXPECT_EQ(told, records);
    }
}

TEST(RepeatLimit, numbers_do_not_make_a_kind)
{
    for (const auto& [text, kind] :
         {std::pair{"a1b22", "a#b#"}, {"<0x5fAbg>", "<#g>"}, {"-1.5e3 0x", "-#.#e# #"}})
        EXPECT_EQ(without_numbers(text), kind);
}

} // namespace
