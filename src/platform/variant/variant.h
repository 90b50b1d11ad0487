// Report trees and their JSON form: a thin face over nlohmann-json.
#pragma once

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <string>

namespace libvariant {

/// A value of a report tree. Maps are kept sorted by key.
using Variant = nlohmann::json;

/// How JSON is written; a map with any of these keys:
///   "pretty"     boolean, one member a line, indented (default false)
///   "precision"  significant digits of a number that is no integer (default:
///                as many as it takes to read the same double back)
using Options = Variant;

/// The JSON text of `tree`. NaN and infinities are written as null, bytes that
/// are no UTF-8 as U+FFFD.
std::string write_json(const Variant& tree, const Options& options = Options::object());

/// The same, with the figures rounded in `tree` itself: the copy of a large
/// tree costs more than its text.
std::string write_json(Variant&& tree, const Options& options = Options::object());

/// The same into a stream.
void write_json(std::ostream& out, const Variant& tree, const Options& options = Options::object());

/// The same into the file at `path`, which is replaced as a whole. Throws
/// std::runtime_error with the path and the reason when that fails.
void write_json_file(const std::string& path, const Variant& tree,
                     const Options& options = Options::object());

/// Reads JSON. Throws std::runtime_error with the reason for malformed text.
Variant read_json(const std::string& text);

} // namespace libvariant
