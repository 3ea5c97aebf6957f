// The entry functions: each binds one kind of media to its table and indexer and runs it once.
//
// Each returns the number of rows added plus removed, as attempted, or -1 when the indexer could
// not be initialised; that is then in the log.

#pragma once

int ReindexEmap();
int ReindexSnapshot();

// `camId` is a camera's id; one that doesn't exist makes the indexer fail.
int ReindexEvent(int camId);
int ReindexAlertEvent(int camId);
