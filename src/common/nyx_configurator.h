// The configuration store: the settings of one libconfig file, and the
// components that follow its reloads.
#pragma once

#include "common/nyx_file_lock.h"

#include <libconfig.h++>

#include <cstddef>
#include <exception>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace nyx {

class IReconfigure;

/// One configuration file and its parsed tree.
///
/// Components read a setting with config.lookupValue(config::key::NAME, value) into
/// a variable that holds the default: a key that is missing or of another type
/// leaves it. All use is on the loop thread; other processes are kept out by a
/// lock on <file>.lock.
class AConfigurator {
public:
    /// Reads `file_name` (relative to the working folder); an empty name makes
    /// a store without a file. With `print_only`, saving prints. Throws
    /// FileNotFound, FileLockFailure or libconfig's ParseException.
    AConfigurator(const char* file_name, bool print_only);
    AConfigurator(const AConfigurator&) = delete;
    AConfigurator& operator=(const AConfigurator&) = delete;
    virtual ~AConfigurator() = default;

    /// The parsed tree.
    libconfig::Config config;

    /// Replaces the tree by the file's content, under the shared lock. Throws
    /// as the constructor does. A file that is not there leaves the old tree;
    /// a parse error leaves what libconfig made of it.
    void read_file();

    /// Writes the tree to the file under the exclusive lock, or prints it. The
    /// file is replaced as a whole. False, and one error record, on failure, and for
    /// a tree that could not be read again.
    bool save_configuration();

    /// Replaces the file's text by what `edit` makes of it, and the tree by the
    /// new text's: under the exclusive lock from the first to the last, so that
    /// no other process's change is lost. Throws what read_file() and `edit`
    /// throw, ParseException for a new text that does not parse, and
    /// std::runtime_error when the file can not be written; the file is then as
    /// it was.
    void edit_file(const std::function<std::string(const std::string&)>& edit);

    /// Reads the file again and tells every registered component, in two
    /// passes. A file that can not be read is logged and tells nobody. A
    /// component's std::runtime_error ends the reload and is thrown on; its
    /// other exceptions are logged. Throws a text without a file name.
    void reload_configuration();

    /// Adds `component` at the end, once. Not owned; must unregister before it
    /// ends. May be called by a component that is being told of a reload: whom it
    /// registers is told as well, and whom it unregisters, be it itself, is told
    /// nothing more.
    void register_reconfiguration_cb(IReconfigure* component);
    void unregister_reconfiguration_cb(IReconfigure* component);

    /// @name Settings as text
    /// The empty path is the root; it has no name, so its children stand at
    /// level 0. `out` is replaced.
    /// @{

    /// The setting at `path`: "name = value;" and a line feed, or the lines of
    /// a group. False, and one error record, when there is none (`out` stays)
    /// or it is an array or a list, of which `out` gets no more than "name = ".
    bool get_value_as_a_string(const char* path, std::string& out);
    /// The same of `setting`, moved in by `level` steps of two blanks.
    static bool get_value_as_a_string(libconfig::Setting& setting, std::string& out, int level);
    /// The lines of a group; arrays and lists in it leave "name = " without a
    /// line feed. False, and nothing, for anything else.
    static bool group_to_string(const libconfig::Setting& setting, std::string& out, int level);
    /// Two blanks per level; none below level 1.
    static std::string level_spaces(int level);

    /// Replaces `keys` by "path=value" of each scalar in the tree, texts
    /// without quotes, floats in single precision. Returns their number.
    std::size_t list_all_keys(std::vector<std::string>& keys);
    /// Appends the same of `setting` and what is in it.
    static void list_setting_keys(const libconfig::Setting& setting,
                                  std::vector<std::string>& keys);
    /// @}

    /// @name Editing lists and arrays
    /// In the tree alone; save_configuration() makes it last. A path that is
    /// not a list (an array), and whatever libconfig refuses, such as an array
    /// element of another type than the others, gives false and changes nothing.
    /// @{

    bool has_list_key(const std::string& path) const;
    bool has_array_key(const std::string& path) const;
    /// Adds an empty one, and the groups that are missing on the way to it.
    /// False when there is anything at `path`.
    bool add_list_key(const std::string& path);
    bool add_array_key(const std::string& path);
    /// Removes it. True as well when `path` is something else, which stays.
    bool del_list_key(const std::string& path);
    bool del_array_key(const std::string& path);
    /// Leaves an empty one at `path`, made anew at the end of its group.
    bool clear_list_key(const std::string& path);
    bool clear_array_key(const std::string& path);

    /// Append an empty group, list or array.
    bool add_list_element_group(const std::string& path);
    bool add_list_element_list(const std::string& path);
    bool add_list_element_array(const std::string& path);
    /// Append a scalar: an int, a 64-bit int, a boolean, a text or a float.
    bool add_list_element(const std::string& path, int value);
    bool add_list_element(const std::string& path, long value);
    bool add_list_element(const std::string& path, bool value);
    bool add_list_element(const std::string& path, const char* value);
    bool add_list_element(const std::string& path, const std::string& value);
    bool add_list_element(const std::string& path, float value);
    bool add_array_element(const std::string& path, int value);
    bool add_array_element(const std::string& path, long value);
    bool add_array_element(const std::string& path, bool value);
    bool add_array_element(const std::string& path, const char* value);
    bool add_array_element(const std::string& path, const std::string& value);
    bool add_array_element(const std::string& path, float value);

    /// The number of elements; -1 for anything else.
    int get_list_size(const std::string& path) const;
    int get_array_size(const std::string& path) const;
    /// The libconfig path of element `index`; empty when there is none.
    std::string get_list_element_key(const std::string& path, int index) const;
    std::string get_array_element_key(const std::string& path, int index) const;
    /// Its libconfig::Setting::Type; 0 when there is none.
    int get_list_element_type(const std::string& path, int index) const;
    int get_array_element_type(const std::string& path, int index) const;
    /// @}

    /// Makes a setting of `type` at `path`, and the groups that are missing on
    /// the way to it: all of it or nothing. False when there is one already.
    bool add_branch(const std::string& path, libconfig::Setting::Type type);
    /// Removes the setting at `path`, whatever it is. False, and one error
    /// record, when there is none or it is the root.
    bool del_value(const std::string& path);
    /// The setting at `path`, owned by the tree; null when there is none.
    libconfig::Setting* find_setting(const std::string& path) const;

private:
    libconfig::Setting* find_list(const std::string& path) const;
    libconfig::Setting* find_array(const std::string& path) const;
    /// Throws FileNotFound in a store without a file, which takes no lock either.
    void require_file() const;
    /// Throws FileLockFailure, and what `step` throws.
    void with_write_lock(const std::function<void()>& step);
    /// Replaces the file's text; only under the exclusive lock.
    void write_file(const std::string& text);
    template <typename Tell>
    void tell_components(Tell tell);
    void reconfigure_component(IReconfigure& component);
    void reconfigure_components();
    void post_reconfigure_components();
    bool is_registered(const IReconfigure* component) const;

    std::string m_file_name;
    bool m_print_only;
    bool m_reconf_disabled{false};
    std::list<IReconfigure*> m_callbacks;
    FileLock m_file_lock;
};

/// The tree as libconfig writes it. In memory, as its own writing to a file
/// does not notice a disk that is full. Throws std::bad_alloc.
std::string configuration_text(const libconfig::Config& config);

/// The same, and proof that libconfig reads it: it writes an infinite number in a
/// way that it does not take back. Throws std::runtime_error naming the line.
std::string readable_configuration_text(const libconfig::Config& config);

/// The text of what reading a configuration threw; for a parse error with file
/// and line.
std::string configuration_error_text(const std::exception& error);

/// The store on "nyx.conf", built on first use.
AConfigurator& get_static_configurator();

/// What a merge of files has to say.
struct MergeReport {
    std::string failure;              ///< why there is no output; empty: there is
    std::vector<std::string> remarks; ///< a line for each current value left out
};

/// The process's current store.
class TheConfigurator {
public:
    /// Installs `configurator`; not owned, must outlive every reader.
    static void set_configurator(AConfigurator* configurator);
    static bool is_installed();
    /// The installed store, or else the static one.
    static AConfigurator& get_configuration();

    /// Brings a newly installed configuration file and a user's existing one
    /// together (see merge_trees()) and replaces the output file as a whole,
    /// with the mode of the current one. The inputs stay as they are. Refused are
    /// an output that is one of them, or that is there and no configuration, and
    /// an input with a number of which libconfig keeps a part only.
    /// False, and a log record, on failure.
    static bool smart_merge(const std::string& template_path, const std::string& current_path,
                            const std::string& output_path, MergeReport* report = nullptr);
};

} // namespace nyx
