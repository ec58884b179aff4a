#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "emulator/SplitReader.h"
#include "support/ServiceProcess.h"

namespace tavu::test {
namespace {

// A large read is split between two threads; whatever the split, the destination holds the file's
// bytes up to its end, untouched bytes past it, and the count is the readable beginning.
TEST(SplitReader, GivesTheSameBytesAsOneReadWhereverTheFileEnds) {
    constexpr uint64_t kLarge = SplitReader::SplitFrom + 3 * 4096 + 5;
    struct Case {
        const char* what;
        uint64_t fileSize;
        uint64_t offset;
        uint64_t length;
    };
    const Case cases[] = {
        {"small, whole", 8192, 100, 1000},
        {"large, whole", 2 * kLarge, 7, kLarge},
        {"large, file ends in the far half", kLarge, 1000, kLarge},
        {"large, file ends in the near half", kLarge / 3, 0, kLarge},
        {"large, past the end", 4096, 8192, kLarge},
    };
    const TestHome home;
    const std::filesystem::path path = home.root() / "frames";
    SplitReader reader;
    for (int pass = 0; pass < 2; ++pass) {  // the second pass reuses the running helper
        for (const Case& c : cases) {
            std::vector<uint8_t> content(c.fileSize);
            for (uint64_t i = 0; i < content.size(); ++i) {
                content[i] = static_cast<uint8_t>(i * 7 + i / 251 + pass);
            }
            {
                std::ofstream out(path, std::ios::binary | std::ios::trunc);
                out.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
            }
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            ASSERT_GE(fd, 0);
            std::vector<uint8_t> destination(c.length, 0xEE);
            const uint64_t count = reader.read(fd, destination, c.offset);
            ::close(fd);
            const uint64_t readable = c.offset < c.fileSize ? std::min(c.length, c.fileSize - c.offset) : 0;
            EXPECT_EQ(count, readable) << c.what;
            EXPECT_TRUE(std::equal(destination.begin(), destination.begin() + static_cast<std::ptrdiff_t>(readable),
                                   content.begin() + static_cast<std::ptrdiff_t>(std::min(c.offset, c.fileSize))))
                << c.what;
            EXPECT_TRUE(std::all_of(destination.begin() + static_cast<std::ptrdiff_t>(readable), destination.end(),
                                    [](uint8_t byte) { return byte == 0xEE; }))
                << c.what;
        }
    }
    EXPECT_EQ(reader.read(-1, {}, 0), 0u);
}

}  // namespace
}  // namespace tavu::test
