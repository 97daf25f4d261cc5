// SPDX-License-Identifier: Proprietary
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vorel {
namespace tools {

/// A fresh folder under /tmp, removed with everything in it at the end of the test.
class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/vsr_test_XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace tools
}  // namespace vorel
