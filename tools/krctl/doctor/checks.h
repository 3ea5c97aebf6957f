// The groups of checks of krctl doctor. None of them changes anything. Those that take the
// databases or the settings for granted throw recorder::Error where these can't be used.

#pragma once

#include "tools/krctl/doctor/check.h"

[[nodiscard]] Checks CheckSettings();
[[nodiscard]] Checks CheckUser();
[[nodiscard]] Checks CheckLog();
[[nodiscard]] Checks CheckDatabases();
[[nodiscard]] Checks CheckModes();
[[nodiscard]] Checks CheckSpace();
[[nodiscard]] Checks CheckModules();
[[nodiscard]] Checks CheckCameras();
[[nodiscard]] Checks CheckVolumes();
[[nodiscard]] Checks CheckMediaFolders();
[[nodiscard]] Checks CheckRun();
[[nodiscard]] Checks CheckOutbox();
[[nodiscard]] Checks CheckBroker();
