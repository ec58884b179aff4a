#pragma once
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>

namespace sim {

// An open file descriptor, closed when the object goes.
class FileDescriptor {
public:
    // Throws with the path and the system's reason when the file cannot be opened.
    FileDescriptor(const std::filesystem::path& path, int flags);
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    // Whole transfers at an offset; a short transfer is a failure.
    void readAt(uint64_t offset, void* target, uint64_t size) const;
    void writeAt(uint64_t offset, const void* source, uint64_t size) const;
    void resize(uint64_t size) const;
    uint64_t size() const;

private:
    [[noreturn]] void failWith(const char* action, const char* reason) const;

    std::filesystem::path path_;
    int fd_;
};

std::string readTextFile(const std::filesystem::path& path);
// Readers never see half a file: the text goes to a file beside it that then replaces it.
void writeFileAtomically(const std::filesystem::path& path, const std::string& text);

// The parsed file, or an exception that names the file and the fault.
nlohmann::json readJsonFile(const std::filesystem::path& path);
void writeJsonFile(const std::filesystem::path& path, const nlohmann::json& value);

}  // namespace sim
