// A folder for a run's files. Runs go on side by side, also those of several builds: no two share a file.
#ifndef VIRTUAL_PROJECTOR_STORYKIT_SCRATCH_FOLDER_H
#define VIRTUAL_PROJECTOR_STORYKIT_SCRATCH_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace storykit {

/// A folder of its own, removed with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder() : path_((std::filesystem::temp_directory_path() / "run-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no folder for the run's files");
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

}  // namespace storykit

#endif
