// Texts of system error codes. Network errors have their own, the same on every platform; the rest
// is the platform's.
#include <cstdio>

#include "platform/kel.h"
#include "platform/os.h"

namespace {

constexpr int32_t first_network_error = 10000;
constexpr int32_t last_network_error = 11999;

struct NetworkError {
    int32_t code;
    const char *text;
};

constexpr NetworkError network_errors[] = {
    {10004, "Interrupted function call"},
    {10013, "Permission denied"},
    {10014, "Bad address"},
    {10022, "Invalid argument"},
    {10024, "Too many open files"},
    {10035, "Resource temporarily unavailable"},
    {10036, "Operation now in progress"},
    {10037, "Operation already in progress"},
    {10038, "Socket operation on nonsocket"},
    {10040, "Message too long"},
    {10041, "Protocol wrong type for socket"},
    {10042, "Bad protocol option"},
    {10043, "Protocol not supported"},
    {10044, "Socket type not supported"},
    {10045, "Operation not supported"},
    {10046, "Protocol family not supported"},
    {10047, "Address family not supported by protocol family"},
    {10048, "Address already in use"},
    {10049, "Cannot assign requested address"},
    {10050, "Network is down"},
    {10051, "Network is unreachable"},
    {10052, "Network dropped connection on reset"},
    {10053, "Software caused connection abort"},
    {10054, "Connection reset by peer"},
    {10055, "No buffer space available"},
    {10056, "Socket is already connected"},
    {10057, "Socket is not connected"},
    {10058, "Cannot send after socket shutdown"},
    {10060, "Connection timed out"},
    {10061, "Connection refused"},
    {10064, "Host is down"},
    {10065, "No route to host"},
};

const char *network_error_text(int32_t code) {
    for (const NetworkError &row : network_errors)
        if (row.code == code) return row.text;
    return nullptr;
}

} // namespace

extern "C" const char *ntstrerror(int32_t code) {
    thread_local char buffer[256];
    if (code < first_network_error || code > last_network_error)
        return vor::os::error_text(code, buffer, sizeof buffer);
    if (const char *const text = network_error_text(code)) return text;
    std::snprintf(buffer, sizeof buffer, "Windows network error #%d", code);
    return buffer;
}
