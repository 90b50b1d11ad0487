#include "common/config_list_iterator.h"

namespace nyx {

ConfigListIterator::ConfigListIterator(AConfigurator* configurator, const char* path)
    : m_configurator(configurator), m_path(path)
{
    init();
}

ConfigListIterator::ConfigListIterator(const char* path)
    : ConfigListIterator(&TheConfigurator::get_configuration(), path)
{
}

ConfigListIterator::ConfigListIterator(const std::string& path) : ConfigListIterator(path.c_str())
{
}

void ConfigListIterator::init()
{
    m_index = size() > 0 ? 0 : -1;
}

ConfigListIterator& ConfigListIterator::operator++()
{
    if (m_index >= 0)
        m_index = m_index + 1 < size() ? m_index + 1 : -1;
    return *this;
}

std::string ConfigListIterator::operator*() const
{
    return m_configurator->get_list_element_key(m_path, m_index);
}

int ConfigListIterator::type() const
{
    return m_configurator->get_list_element_type(m_path, m_index);
}

int ConfigListIterator::size() const
{
    return m_configurator->get_list_size(m_path);
}

} // namespace nyx
