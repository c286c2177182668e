// Records every report made while it lives (log, console, box, debug
// output), each with its destination and as framed for it, through the
// report path's one hook. Log, console and debug reports still reach their
// destination; boxes are not shown, and a question is answered with
// `answer`. Nothing ever blocks a test.
#pragma once

#include <string>
#include <vector>

#include "app/report.h"

namespace testsupport
{

struct CapturedBox
{
    std::string text;
    std::string caption;
    unsigned style;
};

struct CapturedReport
{
    ReportDestination destination;
    std::string text;
};

class ReportCapture
{
public:
    ReportCapture() { SetReportHook(&ReportCapture::Record, this); }
    ~ReportCapture() { SetReportHook(nullptr, nullptr); }
    ReportCapture(const ReportCapture&) = delete;
    ReportCapture& operator=(const ReportCapture&) = delete;

    // The texts that went to `destination`, in order.
    std::vector<std::string> To(ReportDestination destination) const
    {
        std::vector<std::string> texts;
        for (const CapturedReport& report : reports)
            if (report.destination == destination)
                texts.push_back(report.text);
        return texts;
    }

    std::vector<CapturedReport> reports;
    std::vector<CapturedBox> boxes;
    int answer = IDYES;

private:
    static int Record(const ReportRecord& record, void* user)
    {
        auto* self = static_cast<ReportCapture*>(user);
        self->reports.push_back({record.destination, record.text});
        if (record.destination != ReportDestination::Box)
            return 0;
        self->boxes.push_back({record.text, record.caption, record.style});
        return (record.style & 0xF) == MB_YESNO ? self->answer : IDOK;
    }
};

} // namespace testsupport
