// The current time in UTC, broken down the way the log prints it.
#pragma once

struct SYSTEMTIME
{
    int wYear, wMonth, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

void GetSystemTime(SYSTEMTIME* time);
