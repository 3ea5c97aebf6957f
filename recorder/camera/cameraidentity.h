// The identity of a camera: a file in its storage folder, which survives the loss of the databases.
// It assigns the recordings on a disk to the camera that made them, and to no other.

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
    std::string name; // for people; bytes of any encoding
    std::string uuid; // lower case

    bool operator==(const CameraIdentity&) const = default;
};

// The text of the identity file, which is TOML if the name is UTF-8.
[[nodiscard]] std::string CameraIdentityText(const CameraIdentity& identity);

// The identity in a text. Throws Error, which names the file, unless the text is exactly what
// CameraIdentityText returns for that identity.
[[nodiscard]] CameraIdentity ParseCameraIdentity(std::string_view text,
                                                 const std::string& fileName);

// The identity of the camera that owns this storage folder. Returns nothing only if the folder
// certainly has none. Throws Error when the file can't be read, is a link, or holds no identity.
[[nodiscard]] std::optional<CameraIdentity> CameraIdentityIn(const std::string& folder);

// Writes the identity file of a folder. It is on the disk when this returns; a crash leaves either
// a complete file or none. Throws Error when it can't be written, or if the folder has an identity.
void WriteCameraIdentity(const std::string& folder, const CameraIdentity& identity);

// Throws Error unless the folder holds the identity with this uuid. If it doesn't, the camera's
// disk may be missing, and the folder may be an empty one or another camera's.
void RequireIdentity(const std::string& folder, const std::string& uuid);

// For messages: camera 7 "Front".
[[nodiscard]] std::string NameOf(const CameraIdentity& identity);

} // namespace recorder
