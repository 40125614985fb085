// Pipes with somebody at the other end.

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "fw32/stream_words.h"
#include "platform/kel.h"
#include "support/in_child.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;

constexpr int32_t tracks = 400;
constexpr uint32_t pixels = 500;

Runs runs_of(int32_t n) {
    Runs runs;
    for (uint32_t left = pixels, colour = static_cast<uint32_t>(n); left > 0; ++colour) {
        runs.emplace_back(std::min(left, 1 + colour % 7), colour % 4096);
        left -= runs.back().first;
    }
    return runs;
}

std::vector<uint8_t> whole_stream() {
    std::vector<Runs> list;
    for (int32_t n = 0; n < tracks; ++n)
        list.push_back(runs_of(n));
    return bytes_of(track_words(list));
}

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe(ends), 0); }
    int ends[2];
};

// Tracks that come out of a descriptor right and in order.
int32_t good_tracks(int32_t fd) {
    const Handle h(lfdopen(fd, "pipe", LF_READ | LF_FORCETYPE, fw32_type(), nullptr));
    int32_t window[4] = {0, 0, tracks, static_cast<int32_t>(pixels)};
    if (!h || lfclip(h.get(), window) < 0) return -1;
    Track track(pixels);
    int32_t n = 0;
    while (n < tracks && lfread(h.get(), track.get(), n) > 0 && track.runs() == runs_of(n))
        ++n;
    return n;
}

TEST(Fw32Pipe, AStreamGoesFromOneProcessToAnother) {
    const Pipe pipe;
    const ChildResult child = run_in_child([&]() -> std::string {
        // The child writes while a grandchild reads.
        ::signal(SIGPIPE, SIG_IGN);
        const pid_t writer = ::fork();
        if (writer == 0) {
            ::close(pipe.ends[0]);
            Handle h(lfdopen(pipe.ends[1], "pipe", LF_WRITE, fw32_type(), nullptr));
            bool good = h && lfsetsize(h.get(), tracks, static_cast<int32_t>(pixels)) == 0;
            Track track(pixels);
            for (int32_t n = 0; good && n < tracks; ++n) {
                track.put(runs_of(n));
                good = lfwrite(h.get(), track.get(), n) == 0;
            }
            ::_exit(good && close_now(&h) == 0 ? 0 : 1);
        }
        ::close(pipe.ends[1]);
        const int32_t read = good_tracks(pipe.ends[0]);
        int status = 0;
        ::waitpid(writer, &status, 0);
        return std::to_string(read) + " tracks, writer " + std::to_string(status);
    });
    EXPECT_EQ(child.text, std::to_string(tracks) + " tracks, writer 0");
    ::close(pipe.ends[0]);
    ::close(pipe.ends[1]);
}

TEST(Fw32Pipe, BytesThatComeInOddPiecesMakeTheSameTracks) {
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{1023}, size_t{1025}, size_t{4099}}) {
        const Pipe pipe;
        const std::vector<uint8_t> bytes = whole_stream();
        const size_t end = piece == 1 ? 5000 : bytes.size(); // single bytes take their time
        std::thread writer([&] {
            for (size_t at = 0; at < end; at += piece)
                kel_write(pipe.ends[1], bytes.data() + at, std::min(piece, end - at));
            ::close(pipe.ends[1]);
        });
        ReportLog log;
        const int32_t good = good_tracks(pipe.ends[0]);
        writer.join();
        if (piece == 1) {
            EXPECT_GT(good, 5);
        } else {
            EXPECT_EQ(good, tracks) << piece;
        }
    }
}

// The reader is not kept waiting for a full buffer: each track comes as soon as it is there.
TEST(Fw32Pipe, ATrackIsReadWhileTheWriterWaits) {
    const Pipe to_reader;
    const Pipe to_writer;
    Words first;
    for (int i = 0; i < 128; ++i) { // the 1024 bytes that an open waits for
        first.push_back(code(5, 1));
        first.push_back(0);
    }
    std::thread writer([&] {
        const std::vector<uint8_t> bytes = bytes_of(first);
        kel_write(to_reader.ends[1], bytes.data(), bytes.size());
        for (uint32_t n = 0; n < 10; ++n) {
            char answer = 0;
            kel_read(to_writer.ends[0], &answer, 1);
            const std::vector<uint8_t> track = bytes_of({code(5, 100 + n), 0});
            kel_write(to_reader.ends[1], track.data(), track.size());
        }
        ::close(to_reader.ends[1]);
    });
    {
        const Handle h(
            lfdopen(to_reader.ends[0], "pipe", LF_READ | LF_FORCETYPE, fw32_type(), nullptr));
        ASSERT_TRUE(h);
        int32_t window[4] = {0, 0, 138, 5};
        ASSERT_EQ(lfclip(h.get(), window), 0);
        Track track;
        for (int32_t n = 0; n < 138; ++n) {
            if (n >= 128) kel_write(to_writer.ends[1], "+", 1);
            ASSERT_EQ(lfread(h.get(), track.get(), n), 1) << n;
            ASSERT_EQ(track.runs().front().second,
                      n < 128 ? 1u : static_cast<uint32_t>(100 + n - 128));
        }
    }
    writer.join();
    ::close(to_writer.ends[0]);
    ::close(to_writer.ends[1]);
}

TEST(Fw32Pipe, ANamedPipeServesToo) {
    const TempDir dir;
    const std::string name = dir.file("fifo");
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    const int32_t type = fw32_type();
    std::thread writer([&] {
        Handle h(lfopen(name.c_str(), LF_WRITE | LF_GROW | LF_RAWFW32, 0, nullptr));
        if (!h || lfsetsize(h.get(), 1, static_cast<int32_t>(pixels)) < 0) return;
        Track track(pixels);
        for (int32_t n = 0; n < tracks; ++n) {
            track.put(runs_of(n));
            if (lfwrite(h.get(), track.get(), n) < 0) return;
        }
    });
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(lffmajor(type), lffmtindex("fw32"));
    EXPECT_EQ(good_tracks(fd), tracks);
    writer.join();
}

TEST(Fw32Pipe, AReaderThatHasGoneIsAFailedWrite) {
    const std::string result = in_child([] {
        ::signal(SIGPIPE, SIG_IGN);
        const Pipe pipe;
        ::close(pipe.ends[0]);
        ReportLog log;
        Handle h(lfdopen(pipe.ends[1], "pipe", LF_WRITE | LF_GROW, fw32_type(), nullptr));
        lfsetsize(h.get(), 1, static_cast<int32_t>(pixels));
        Track track(pixels);
        track.put(runs_of(0));
        int32_t n = 0;
        while (n < tracks && lfwrite(h.get(), track.get(), n) == 0)
            ++n;
        return std::string(n < tracks ? "failed" : "written") + ", closed " +
               std::to_string(close_now(&h));
    });
    EXPECT_EQ(result, "failed, closed -1");
}

} // namespace
