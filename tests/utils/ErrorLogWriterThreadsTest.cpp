#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "support/TempDir.h"
#include "utils/ErrorLogWriter.h"

namespace lathwind {
namespace {

// Many threads log while the writer's own writes: every record arrives once, each thread's in
// their order.
TEST(ErrorLogWriterThreads, KeepsEveryRecord) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 250;  // together well below the queue's limit
    testing::TempDir folder;
    ErrorLogWriter writer(folder.path(L"log\\x.log"));
    ASSERT_TRUE(writer.start());
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&writer, thread] {
            for (int i = 0; i < kRecords; ++i) {
                LogRecord record;
                record.severity = Severity::Status;
                record.line = std::to_wstring(thread) + L":" + std::to_wstring(i) + L"\n";
                writer.submit(record);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    writer.stop(Drain::Yes);
    EXPECT_EQ(writer.statusCount(), static_cast<std::uint32_t>(kThreads * kRecords));
    const std::string text = folder.read("log/x.log");
    for (int thread = 0; thread < kThreads; ++thread) {
        std::size_t at = 0;
        for (int i = 0; i < kRecords && at != std::string::npos; ++i) {
            std::string line = "\n";
            line.append(std::to_string(thread)).append(":").append(std::to_string(i));
            at = text.find(line, at);
        }
        EXPECT_NE(at, std::string::npos) << thread;
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), ':'), kThreads * kRecords);
}

}  // namespace
}  // namespace lathwind
