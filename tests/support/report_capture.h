// Every report made while it lives, as framed, through the report path's
// hook; only boxes are held back, a question answered with `answer`.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/report.h"

namespace testsupport
{

struct CapturedBox
{
    std::string text, caption;
    unsigned style;
};

class ReportCapture
{
public:
    ReportCapture() { SetReportHook(&ReportCapture::Record, this); }
    ~ReportCapture() { SetReportHook(nullptr, nullptr); }

    std::vector<std::string> To(ReportDestination destination) const
    {
        std::vector<std::string> texts;
        for (const auto& [to, text] : reports)
            if (to == destination)
                texts.push_back(text);
        return texts;
    }

    std::vector<std::pair<ReportDestination, std::string>> reports;
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
