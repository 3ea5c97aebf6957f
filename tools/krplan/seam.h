// The seam of krplan: krindexer's own code (driver/, indexer/) on a recorder that is only read.
// krplan links recorder_readonly, the part of recorder/ that reads, and has an implementation of
// its own of each function that would write, lock or publish. These are all of them; tests/plan
// compares the list with what is linked.
//
//   file          functions that it implements
//   files.cpp     KRRm, CreateThumbnail, RecordingCount::AddRecCounts, RecordingCount::Recount,
//                 NotifyEventListUpdate, NotifyAlertEventRefresh
//   messages.cpp  KRPrintf, g_pDbgLogCfg, g_DbgLogPid
//   run.cpp       recorder::ExecuteInRun, recorder::BeginPart, recorder::TurnToCamera,
//                 recorder::NoteKnownRows, recorder::NoteRefusal, recorder::CountFile
//   task.cpp      KRIndex::RegTaskStart, KRIndex::RegTaskDone, KRIndex::SetTaskPid,
//                 KRIndex::SetTaskProgress, KRIndex::GetTaskProgress,
//                 KRIndex::RecordTaskStatusToConf
//   (recorder)    recorder::OpenDatabaseOf, of database/openreadonly.cpp instead of
//   openwritable.cpp

#pragma once
