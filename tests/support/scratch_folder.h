// A folder for a test's files. Tests run side by side, also those of several builds: no two share a file.
#ifndef TESTS_SUPPORT_SCRATCH_FOLDER_H
#define TESTS_SUPPORT_SCRATCH_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace testkit {

/// A folder of its own, removed with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder() : path_((std::filesystem::temp_directory_path() / "test-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder for the test's files");
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace testkit

#endif
