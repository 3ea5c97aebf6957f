// The functions that krplan replaces. krplan runs krindexer's own code (driver/, indexer/) and
// links recorder_readonly, the part of recorder/ that only reads. It has a separate implementation
// of each function that would write, lock or publish. This list is complete: tests/plan compares it
// with the linked program.
//
//   file          functions that it implements
//   files.cpp     KRRm, CreateThumbnail, RecordingCount::AddRecCounts, RecordingCount::Recount,
//                 NotifyEventListUpdate, NotifyAlertEventRefresh
//   messages.cpp  KRPrintf, g_pDbgLogCfg, g_DbgLogPid
//   run.cpp       recorder::ExecuteInRun, recorder::BeginPart, recorder::TurnToCamera,
//                 recorder::NoteKnownRows, recorder::KnownRows, recorder::NoteRefusal,
//                 recorder::NoteUnreadable, recorder::NoteListed, recorder::CountFile
//   task.cpp      KRIndex::RegTaskStart, KRIndex::RegTaskDone, KRIndex::SetTaskPid,
//                 KRIndex::SetTaskProgress, KRIndex::GetTaskProgress,
//                 KRIndex::RecordTaskStatusToConf
//   (recorder)    recorder::OpenDatabaseOf, of database/openreadonly.cpp instead of
//   openwritable.cpp

#pragma once
