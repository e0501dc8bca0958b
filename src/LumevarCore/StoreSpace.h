#pragma once
// Whether a failed store call failed for want of space on the disk (SQLite's SQLITE_FULL): what
// was written before stays whole, and a later sync finishes the work once space returns.

class Error;

bool isOutOfSpace(const Error &error);
