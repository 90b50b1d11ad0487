#include "http/transfer_info.h"

namespace nyx {

namespace {

constexpr double microseconds = 1e6; // in a second

double number_info(CURL* curl, CURLINFO info)
{
    curl_off_t value = 0;
    curl_easy_getinfo(curl, info, &value);
    return static_cast<double>(value);
}

} // namespace

TransferStatistics read_statistics(CURL* curl)
{
    TransferStatistics statistics;
    statistics.total_time = number_info(curl, CURLINFO_TOTAL_TIME_T) / microseconds;
    statistics.downloaded = number_info(curl, CURLINFO_SIZE_DOWNLOAD_T);
    statistics.uploaded = number_info(curl, CURLINFO_SIZE_UPLOAD_T);
    statistics.download_speed = number_info(curl, CURLINFO_SPEED_DOWNLOAD_T);
    statistics.upload_speed = number_info(curl, CURLINFO_SPEED_UPLOAD_T);
    statistics.connect_time = number_info(curl, CURLINFO_CONNECT_TIME_T) / microseconds;
    return statistics;
}

std::optional<std::string> read_string_info(CURL* curl, CURLINFO info)
{
    const char* value = nullptr;
    if (curl_easy_getinfo(curl, info, &value) != CURLE_OK || value == nullptr)
        return std::nullopt;
    return value;
}

} // namespace nyx
