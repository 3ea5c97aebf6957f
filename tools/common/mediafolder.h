// The folders of snapshots and e-maps, which krctl init creates.

#pragma once

#include "platform/database.h"

#include <array>
#include <string>

struct MediaFolder {
    const char* name; // of its kind
    KRDB::DB_INSTANCE instance;
    const char* table;
    const char* option; // the option of krindexer whose run removes the rows
    std::string path;
    bool isOfPackage; // false for a folder that the settings name
};

// Throws recorder::SettingsError.
[[nodiscard]] std::array<MediaFolder, 2> MediaFolders();

// Returns the number of rows of the folder's kind. Throws recorder::Error.
[[nodiscard]] long RowCount(const MediaFolder& folder);

// Returns why krctl init must not create the missing folder, with the remedy; empty if it may.
// Where a disk may be missing, a folder below its mount point would be on another disk, and a run
// would treat it as the empty folder of the right one. Throws recorder::Error.
[[nodiscard]] std::string ObstacleToCreating(const MediaFolder& folder);
