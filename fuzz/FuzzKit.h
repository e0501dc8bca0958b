#pragma once
// What every fuzz target shares: the application object, a quiet log and a scratch folder in
// memory where the input is written as the file the code under test reads.

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

namespace FuzzKit {

// Makes the application object, silences the log and makes the scratch folder, once per process.
// $LUMEVAR_FUZZ_SCRATCH names the folder; else one in /dev/shm (or the temporary folder) for the
// process, removed at its exit.
void setUp();
const QString &scratch();

// A copy of the input (ending in a zero byte, as every QByteArray does).
QByteArray bytes(const uint8_t *data, size_t size);

// Writes bytes to the file name inside the scratch folder; its path as bytes.
QByteArray write(const QString &name, const QByteArray &bytes);

// Empties the folder name inside the scratch folder (what an input left there).
void clear(const QString &name);

} // namespace FuzzKit
