#pragma once
// The client's worker: one thread of its own, for the work kept off the main thread (merging,
// hashing and queueing records, encoding and posting batches, reading replies). Jobs run one at a
// time in the order they were posted. The thread starts at the first post and is stopped when the
// process's static objects go.

#include <QObject>
#include <functional>

namespace UtilityQueue {

// Runs job on the worker, later.
void post(std::function<void()> job);
// Returns once every job posted before it has run (at once on the worker itself).
void waitUntilIdle();
// The object that lives on the worker, for objects that must be made there.
QObject *context();

} // namespace UtilityQueue
