#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/kel.h"

namespace {

struct Row {
    int32_t code;
    const char *text;
};

TEST(ErrorText, NetworkErrorsHaveTextsOfTheirOwn) {
    constexpr Row rows[] = {
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
    for (const Row &row : rows)
        EXPECT_STREQ(ntstrerror(row.code), row.text) << row.code;
}

TEST(ErrorText, NetworkErrorWithoutATextGivesItsNumber) {
    constexpr Row rows[] = {
        {10059, "Windows network error #10059"},
        {10000, "Windows network error #10000"},
        {11999, "Windows network error #11999"},
    };
    for (const Row &row : rows)
        EXPECT_STREQ(ntstrerror(row.code), row.text) << row.code;
}

TEST(ErrorText, SystemErrorHasTheTextOfTheCLibrary) {
    for (const int code : {ENOENT, EACCES, ENOSPC, EINVAL})
        EXPECT_STREQ(ntstrerror(code), std::strerror(code)) << code;
}

TEST(ErrorText, CodeUnknownToTheSystemHasNoText) {
    for (const int32_t code : {-1, 9999, 12000, INT32_MAX, INT32_MIN})
        EXPECT_EQ(ntstrerror(code), nullptr) << code;
}

TEST(ErrorText, CodeZeroIsASystemCode) {
    EXPECT_STREQ(ntstrerror(0), std::strerror(0));
}

TEST(ErrorText, NextCallOverwritesAMadeText) {
    const char *const first = ntstrerror(10001);
    const char *const second = ntstrerror(10002);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(second, "Windows network error #10002");
}

} // namespace
