// Several clients on one simulated recorder at once: live view on two ports, playback and
// everything else, each on its own connection and thus its own thread in the service.
#include <thread>

#include "client/LiveView.h"
#include "client/Playback.h"
#include "tests/recorder/RecorderFixture.h"

namespace tavu::test {
namespace {

using RecorderConcurrency = RecorderFixture;

TEST_F(RecorderConcurrency, LiveViewOnTwoPortsPlaybackAndOtherCommandsAtOnce) {
    startWithRecorderA();
    client().setup(0);
    client().pairPort(0, 0, "cam", std::vector<uint8_t>{1}, 1);
    client().setPortConfig(0, 1, {16, 8, 0, 0});
    const std::vector<FileRecord> files = recordFrames(0b01, 8, 16, 8);
    ASSERT_EQ(files.size(), 1u);
    const FileRecord& file = files[0];

    constexpr int Rounds = 20;
    std::vector<std::thread> threads;
    for (uint8_t port = 0; port < 2; ++port) {
        threads.emplace_back([&, port] {
            auto own = connect();
            client::LiveView live(*own, 0, port);
            uint16_t last = 0;
            for (int round = 0; round < Rounds; ++round) {
                const client::LiveView::Frame frame = live.grab();
                ASSERT_EQ(frame.pixels.size(), 16u * 8 * 2);
                // Pixel (0, 0) tells the camera frame, and a grab never gives an older one.
                const uint16_t number = static_cast<uint16_t>(client::pixelAt(frame.pixels, 0) - 4096 * port);
                EXPECT_TRUE(round == 0 || number > last) << number << " after " << last;
                last = number;
            }
        });
    }
    threads.emplace_back([&] {
        auto own = connect();
        client::Playback playback(*own, 0, file.fileId, file.streamId);
        const uint16_t first = client::pixelAt(playback.read(0), 0);
        for (int round = 0; round < Rounds; ++round) {
            const auto frame = playback.read(static_cast<uint64_t>(round % 8));
            ASSERT_EQ(frame.size(), 16u * 8 * 2);
            EXPECT_EQ(client::pixelAt(frame, 0), static_cast<uint16_t>(first + round % 8));
        }
    });
    threads.emplace_back([&] {
        auto own = connect();
        const uint32_t queue = own->createEventQueue();
        for (int round = 0; round < Rounds; ++round) {
            EXPECT_EQ(own->listFiles(0).size(), 1u);
            EXPECT_EQ(own->portName(0, 1), "REC-A-2");
            EXPECT_EQ(own->recordingProgress(0, 0).numFrames, 8u);
            own->registerRead(0, 0, 0x300C, 4);
            own->notifyFilesChanged(0);
            own->tryReadEvent(queue);
        }
    });
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(client().deviceCount(), 1u);
}

}  // namespace
}  // namespace tavu::test
