#pragma once
// Loads the simulated recorder library as the service does, over a private folder of
// simulated recorders.
#include "library/Loader.h"
#include "library/Quillon.h"

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavu::test {

// The text of the library exception that `action` throws; a failure of the test if none.
template <typename Action>
std::string libraryError(Action&& action) {
    try {
        action();
    } catch (const Common::GeneralException& e) {
        return e.what();
    }
    ADD_FAILURE() << "no Common::GeneralException thrown";
    return "";
}

// Two recorders: "REC-A", connected, with a camera on each of its two ports and two groups of
// two drives of 1 MiB, clusters of 4096 bytes (blocks of 16 KiB); "REC-B", not connected.
nlohmann::json twoRecorders();

class SimFixture : public ::testing::Test {
protected:
    SimFixture();
    ~SimFixture() override;

    const std::filesystem::path& root() const { return root_; }
    // Replaces recorders.json in one step, as an edit seen by the library must be whole.
    void writeDescription(const nlohmann::json& description) const;
    nlohmann::json readState(const std::string& recorder) const;

    Quillon::LibraryEntry& library();
    // Started once per load of the library.
    Quillon::DeviceCollection& collection();
    boost::shared_ptr<Quillon::Device> recorderA() { return collection().device(0); }
    // Drops every handle and unloads the library, so that the next use loads it afresh.
    void unload();

    // A drive set made of every drive of the recorder, as the service makes it.
    boost::shared_ptr<Quillon::DriveSet> createDriveSetOfAllDrives(Quillon::Device& device);
    boost::shared_ptr<Common::Buffer> buffer(uint64_t size, uint8_t fill = 0);

private:
    std::filesystem::path root_;
    std::optional<Loader> loader_;
    boost::shared_ptr<Quillon::Instance> instance_;
    boost::shared_ptr<Quillon::DeviceCollection> collection_;
};

}  // namespace tavu::test
