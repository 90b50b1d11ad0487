// Walks the elements of a list of the configuration.
#pragma once

#include "common/nyx_configurator.h"

#include <cstdint>
#include <string>

namespace nyx {

/// Stands on one element after the other. It keeps the list's path and no more:
/// a list that shrinks meanwhile, or goes, ends the walk.
class ConfigListIterator {
public:
    /// The list at `path` of `configurator`, which is not owned and outlives
    /// the iterator, or else of the process's current store.
    ConfigListIterator(AConfigurator* configurator, const char* path);
    explicit ConfigListIterator(const char* path);
    explicit ConfigListIterator(const std::string& path);

    /// Goes to the first element; past the end when there is none.
    void init();
    ConfigListIterator& operator++();
    /// The libconfig path of the element; empty past the end.
    std::string operator*() const;
    /// The element's libconfig::Setting::Type; 0 past the end.
    int type() const;
    /// The number of elements; -1 when there is no such list.
    int size() const;
    /// The place of the element, from 0; -1 past the end.
    std::int32_t index() const { return m_index; }

private:
    AConfigurator* m_configurator;
    std::string m_path;
    std::int32_t m_index{-1};
};

} // namespace nyx
