#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <string>

#include "tests/support/TemporaryFolder.h"
#include "tools/muxctl/SitePorts.h"

namespace Muxctl {

// The files of a host's sites, in a folder of the test.
class SiteFolder {
  public:
    SiteFolder() {
        std::filesystem::create_directory(places_.enabled);
        std::filesystem::create_directory(places_.running);
    }

    const SitePlaces& Places() const { return places_; }

    // Adds a site whose environment file has this text; without one if it is empty.
    void Add(const std::string& site, const std::string& environment = "") const {
        folder_.Write(site + ".json", "{}");
        if (!environment.empty()) {
            folder_.Write(site + ".env", environment);
        }
    }

    void SetDefaults(const std::string& environment) const { folder_.Write("defaults", environment); }

    // Enables a site, so many seconds after the first moment.
    void Enable(const std::string& site, std::time_t second) const {
        Link(places_.enabled, "dw-hal-mux-brenk@" + site + ".service", second);
    }

    // Starts a site, likewise.
    void Start(const std::string& site, std::time_t second) const {
        Link(places_.running, "invocation:dw-hal-mux-brenk@" + site + ".service", second);
    }

  private:
    static void Link(const std::filesystem::path& folder, const std::string& name, std::time_t second) {
        const std::filesystem::path link = folder / name;
        std::filesystem::create_symlink("anything", link);
        const std::array<timespec, 2> times = {timespec{second, 0}, timespec{second, 0}};
        utimensat(AT_FDCWD, link.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
    }

    Testing::TemporaryFolder folder_;
    SitePlaces places_ = {folder_.Path(), folder_.Path() / "defaults", folder_.Path() / "enabled",
                          folder_.Path() / "running"};
};

}  // namespace Muxctl
