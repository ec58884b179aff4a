#pragma once
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ServiceProcess.h"

namespace tavu::test {

struct Outcome {
    int status = -1;  // exit status, or 128 + signal
    std::string out;
    std::string err;
};

// tavuctl as a child process with a private environment: the folders of a TestHome, the
// variables given, and stdin on /dev/null, so that nothing can ask a question.
class TavuctlRunner {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    class Child {
    public:
        Child(pid_t pid, std::filesystem::path out, std::filesystem::path err);
        ~Child();
        Child(Child&& other) noexcept;
        Child(const Child&) = delete;
        Child& operator=(const Child&) = delete;

        void signal(int number) const;
        // Standard output and standard error so far.
        std::string output() const;
        std::string errors() const;
        // Waits for the end within the bound; a child still running then is killed and fails the test.
        Outcome finish(std::chrono::milliseconds bound = std::chrono::seconds(60));

    private:
        pid_t pid_;
        std::filesystem::path out_;
        std::filesystem::path err_;
    };

    TavuctlRunner(const TestHome& home, Environment environment,
                  std::filesystem::path program = std::filesystem::path(TAVUSVC_BIN_DIR) / "tavuctl");

    Outcome run(const std::vector<std::string>& args);
    Child start(const std::vector<std::string>& args);

private:
    const TestHome& home_;
    std::vector<std::string> environment_;
    std::filesystem::path program_;
    int runs_ = 0;
};

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace tavu::test
