// What libcurl knows of a transfer that has ended.
#pragma once

#include "http/curl_handle.h"

#include <optional>
#include <string>

namespace nyx {

/// Speed and volume of one transfer.
struct TransferStatistics {
    double total_time{};     ///< seconds
    double downloaded{};     ///< bytes
    double uploaded{};       ///< bytes
    double download_speed{}; ///< bytes per second
    double upload_speed{};   ///< bytes per second
    double connect_time{};   ///< seconds
};

/// Of the transfer that `curl` ended last; 0 where libcurl has no figure.
TransferStatistics read_statistics(CURL* curl);

/// One of the infos that are strings; nothing when libcurl has none.
std::optional<std::string> read_string_info(CURL* curl, CURLINFO info);

} // namespace nyx
