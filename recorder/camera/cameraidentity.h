// Which camera a storage folder belongs to: a file in it, which outlives the databases. By it the
// recordings on a disk are given back to the camera that made them, and to no other.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace recorder {

// The file in a camera's storage folder that holds its identity.
constexpr const char* kCameraIdentityFileName = ".kestora-camera";

constexpr std::size_t kMaxCameraNameBytes = 1000;

struct CameraIdentity {
    int id = 0;
    std::string name; // bytes, for people
    std::string uuid; // lower case

    bool operator==(const CameraIdentity&) const = default;
};

// The text of the file: TOML, as long as the name is UTF-8.
[[nodiscard]] std::string CameraIdentityText(const CameraIdentity& identity);

// The identity that a text holds. Throws Error, which names the file, when it is anything but what
// CameraIdentityText makes of an identity.
[[nodiscard]] CameraIdentity ParseCameraIdentity(std::string_view text,
                                                 const std::string& fileName);

// That of the camera whose storage folder this is. Nothing when the folder certainly has none.
// Throws Error when the file can't be read, is a link, or holds no identity: that is not the same.
[[nodiscard]] std::optional<CameraIdentity> CameraIdentityIn(const std::string& folder);

// Gives a folder its identity. It is on the disk when this returns; a crash leaves it whole or not
// there. Throws Error when it can't be written, or the folder has one.
void WriteCameraIdentity(const std::string& folder, const CameraIdentity& identity);

// Throws Error unless the folder holds the identity with this uuid. Without it the camera's disk
// may be missing, and what is seen instead is an empty folder or another camera's.
void RequireIdentity(const std::string& folder, const std::string& uuid);

// For messages: camera 7 "Front".
[[nodiscard]] std::string NameOf(const CameraIdentity& identity);

} // namespace recorder
