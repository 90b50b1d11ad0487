#include "common/nyx_configurator.h"

#include "common/reconfigure.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>

using namespace nyx;

namespace {

/// Writes down what it is told, in a list shared by all components of a test.
class Component : public IReconfigure {
public:
    Component(std::string name, std::string& told) : IReconfigure(std::move(name)), m_told(told) {}

    void reconfigure() override
    {
        tell("reconfigure");
        if (on_reconfigure)
            on_reconfigure();
    }
    void post_reconfigure() override { tell("post"); }
    bool need_reconf(bool& enabled) override
    {
        enabled = enable;
        return need;
    }
    void reload(bool now) override
    {
        tell(now ? "on" : "off");
        IReconfigure::reload(now);
    }
    void reload_conf() override { tell("announce"); }

    bool need{true}, enable{false};
    std::function<void()> on_reconfigure;

private:
    void tell(const std::string& what) { m_told += name() + "." + what + " "; }

    std::string& m_told;
};

class Reload : public testing::Test {
protected:
    TempFolder m_folder;
    std::string m_path = m_folder.write("vos.conf", "General = { vos_id = \"one\"; };");
    AConfigurator m_conf{m_path.c_str(), false};
    std::string m_told;
    Component m_a{"a", m_told}, m_b{"b", m_told};
    CapturedLog m_log;

    Reload()
    {
        for (auto* component : {&m_a, &m_b, &m_a})
            m_conf.register_reconfiguration_cb(component);
    }
    std::string reload()
    {
        m_told.clear();
        m_conf.reload_configuration();
        return m_told;
    }
    std::string vos_id() { return m_conf.config.lookup("General.vos_id"); }
};

TEST_F(Reload, two_passes_in_registration_order)
{
    m_folder.write("vos.conf", "General = { vos_id = \"two\"; };");
    EXPECT_EQ(reload(), "a.reconfigure a.off b.reconfigure b.off a.post b.post ");
    EXPECT_EQ(vos_id(), "two");
    m_a.enable = true;
    EXPECT_EQ(reload(), "a.reconfigure a.on b.reconfigure b.off a.post b.post ");
    EXPECT_EQ(reload(), "a.reconfigure a.on a.announce b.reconfigure b.off a.post b.post ");
    m_a.need = m_b.need = false;
    EXPECT_EQ(reload(), "") << "nothing needed, nothing changed";
    m_a.enable = false;
    EXPECT_EQ(reload(), "a.reconfigure a.off a.post ");
    m_conf.unregister_reconfiguration_cb(&m_a);
    m_conf.unregister_reconfiguration_cb(&m_a);
    m_b.need = true;
    EXPECT_EQ(reload(), "b.reconfigure b.off b.post ");
}

TEST_F(Reload, who_leaves_meanwhile_is_told_no_more_and_who_comes_is)
{
    auto c = std::make_unique<Component>("c", m_told);
    m_conf.register_reconfiguration_cb(c.get());
    m_a.on_reconfigure = [this] {
        m_conf.unregister_reconfiguration_cb(&m_a);
        m_conf.unregister_reconfiguration_cb(&m_b);
    };
    c->on_reconfigure = [this, &c] {
        m_conf.register_reconfiguration_cb(&m_b);
        m_conf.unregister_reconfiguration_cb(c.get());
        const auto last_use = std::move(c);
    };
    EXPECT_EQ(reload(), "a.reconfigure c.reconfigure b.reconfigure b.off b.post ");
}

TEST_F(Reload, component_reconfigures_itself_later)
{
    NYXEventBase base;
    base.init();
    m_a.on_reconfigure = [] { NYXEventBase::loop_break(); };
    EXPECT_TRUE(m_a.reconf_event().charge(0));
    base.dispatch();
    EXPECT_EQ(m_told, "a.reconfigure a.post ");
}

TEST_F(Reload, runtime_error_of_a_component_ends_it_and_others_do_not)
{
    m_a.on_reconfigure = [] { throw std::logic_error("component"); };
    EXPECT_EQ(reload(), "a.reconfigure b.reconfigure b.off b.post ");
    EXPECT_TRUE(m_log.contains("Exception caught in reloading configuration callback from: "
                               "(anonymous namespace)::Component"));
    m_a.on_reconfigure = [] { throw std::runtime_error("component"); };
    EXPECT_THROW(reload(), std::runtime_error);
    EXPECT_EQ(m_told, "a.reconfigure ");
}

TEST_F(Reload, file_that_can_not_be_read_tells_nobody)
{
    m_folder.write("vos.conf", "General = { vos_id = ");
    EXPECT_EQ(reload(), "");
    EXPECT_TRUE(
        m_log.contains("Exception caught reloading configuration file: " + m_path + ":1: "));
    m_folder.write("vos.conf", "General = { vos_id = \"three\"; };");
    reload();
    m_folder.write("vos.conf", "@include \"" + m_folder.path() + "\"\n");
    EXPECT_EQ(reload(), "");
    EXPECT_TRUE(m_log.contains(": it includes " + m_folder.path())) << m_log.text();
    std::filesystem::remove(m_path);
    EXPECT_EQ(reload(), "");
    std::filesystem::create_directory(m_path);
    EXPECT_EQ(reload(), "");
    EXPECT_EQ(m_log.count("Could not open configuration file - " + m_path), 3);
    EXPECT_EQ(vos_id(), "three") << "the old settings stay";
}

TEST(Configurator, start_names_what_is_wrong)
{
    const TempFolder folder;
    EXPECT_THROW(AConfigurator(folder.file("none").c_str(), false), FileNotFound);
    EXPECT_THROW(AConfigurator(folder.path().c_str(), false), FileNotFound);
    const auto broken = folder.write("broken", "a = 1;\nb = ;\n");
    EXPECT_THROW(AConfigurator(broken.c_str(), false), libconfig::ParseException);
    auto ever = "@include \"" + folder.file("ever") + "\"\n";
    ever += ever + ever + ever + ever; // 5 ^ 10 files, if each were looked at
    EXPECT_THROW(AConfigurator(folder.write("ever", ever).c_str(), false),
                 libconfig::ParseException);
    AConfigurator transient("", false);
    EXPECT_THROW(transient.reload_configuration(), const char*);
}

TEST(Configurator, look_ups_keep_the_default_for_a_key_of_another_type)
{
    const TempFolder folder;
    AConfigurator conf(folder.write("c", "a = 2.5; b = 5; c = 5000000000L; d = true;").c_str(),
                       false);
    int number = 7;
    std::string text = "default";
    for (const char* key : {"a", "c", "missing"})
        EXPECT_FALSE(conf.config.lookupValue(key, number)) << key;
    EXPECT_FALSE(conf.config.lookupValue("b", text));
    EXPECT_EQ(text + std::to_string(number), "default7");
    TheConfigurator::set_configurator(&conf);
    Component component("c", text);
    EXPECT_TRUE(component.bool_get("d"));
    EXPECT_THROW(component.bool_get("b"), std::runtime_error);
    TheConfigurator::set_configurator(nullptr);
}

TEST(Configurator, saves_what_it_read)
{
    const TempFolder folder;
    const auto path = folder.write("vos.conf", "a = 1;");
    AConfigurator conf(path.c_str(), false);
    conf.config.lookup("a") = 2;
    EXPECT_TRUE(conf.save_configuration());
    EXPECT_NE(folder.read("vos.conf").find("a = 2;"), std::string::npos);
    const CapturedLog log;
    conf.config.getRoot().add("b", libconfig::Setting::TypeFloat) = HUGE_VAL;
    EXPECT_FALSE(conf.save_configuration());
    EXPECT_TRUE(log.contains("Error saving configuration: line 2 of it could not be read again"));
    EXPECT_EQ(folder.read("vos.conf").find("b ="), std::string::npos);
    std::filesystem::remove_all(folder.path());
    conf.config.getRoot().remove("b");
    AConfigurator transient("", false);
    for (auto* store : {&conf, &transient})
        EXPECT_FALSE(store->save_configuration());
    EXPECT_EQ(log.count("Error saving configuration: "), 3);
    EXPECT_THROW(transient.read_file(), FileNotFound);
    EXPECT_FALSE(std::filesystem::exists(".lock"));
}

} // namespace
