#include "SimFixture.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>

namespace tavu::test {
namespace {

using testing::HasSubstr;

class FaultMode : public SimFixture {};

TEST_F(FaultMode, NamedOperationsFailWhileTheRestOfTheRecorderWorks) {
    const auto set = createDriveSetOfAllDrives(*recorderA());
    const uint32_t config = set->createFile(".config", 1, 0);
    nlohmann::json description = twoRecorders();
    description["recorders"][0]["faults"] = {"Record::start", "Port::grab", "DriveSet::recover",
                                             "DriveFile::streamCount"};
    writeDescription(description);
    const auto record = recorderA()->record();
    // The library takes the edit within a fraction of a second.
    ASSERT_TRUE(eventually([&] {
        try {
            record->start(0);
        } catch (const Common::GeneralException& e) {
            return std::string(e.what()) == "Record::start failed: a fault is simulated on recorder REC-A.";
        }
        return false;
    }));
    boost::shared_ptr<Common::Frame> frame;
    EXPECT_EQ(libraryError([&] { recorderA()->port(0)->grab(frame, 0, true, false, true, false, true); }),
              "Port::grab failed: a fault is simulated on recorder REC-A.");
    EXPECT_EQ(libraryError([&] { set->recover(config); }),
              "DriveSet::recover failed: a fault is simulated on recorder REC-A.");
    EXPECT_EQ(libraryError([&] { set->openFile(config)->streamCount(); }),
              "DriveFile::streamCount failed: a fault is simulated on recorder REC-A.");
    EXPECT_EQ(set->findFile(".config"), config);
    EXPECT_EQ(recorderA()->port(0)->name().c_str(), std::string("A1"));

    writeDescription(twoRecorders());
    EXPECT_TRUE(eventually([&] {
        try {
            return set->openFile(config)->streamCount() == 0;
        } catch (const Common::GeneralException&) {
            return false;
        }
    }));
}

TEST_F(FaultMode, AFaultMustNameAnOperation) {
    nlohmann::json description = twoRecorders();
    description["recorders"][0]["faults"] = {"Record::begin"};
    writeDescription(description);
    EXPECT_THAT(libraryError([&] { collection(); }),
                HasSubstr("recorders.json: recorders[0].faults[0] must name an operation, as \"Record::start\""));
}

}  // namespace
}  // namespace tavu::test
