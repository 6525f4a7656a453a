#pragma once

#include <QtGlobal>

// Time spans in milliseconds. A month is 30 days and a year 365 days: retention and the
// bulk-download time filters count whole days, not calendar months.
constexpr qint64 ONE_DAY_MSEC = 24LL * 60 * 60 * 1000;
constexpr qint64 ONE_WEEK_MSEC = 7 * ONE_DAY_MSEC;
constexpr qint64 ONE_MONTH_MSEC = 30 * ONE_DAY_MSEC;
constexpr qint64 ONE_YEAR_MSEC = 365 * ONE_DAY_MSEC;

constexpr qint64 ONE_MB = 1024 * 1024;

// Page sizes. LOAD_COUNT is a normal page of a gallery list and the batch size of every walk over
// a table (file deletion, expiry, temp cleanup); LOAD_MAX_COUNT is the largest page, used for the
// first page of a search and for refreshes. 50 rows fill a gallery screen twice over.
constexpr int LOAD_COUNT = 50;
constexpr int LOAD_MAX_COUNT = 100;

// A file whose download is not complete carries this suffix after its full name; such files are
// neither counted nor listed by the storage view.
constexpr char CACHE_SUFFIX[] = ".cache";
