// How grave a record is.
#pragma once

/// Severity of a record. The numbers are log4cpp's own priorities; trace has
/// no name there, and a property file asks for it as 750.
enum class LogLevel : int {
    fatal = 0,
    error = 300,
    warning = 400,
    notice = 500,
    info = 600,
    debug = 700,
    trace = 750,
};
