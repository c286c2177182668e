// Records every message box shown while it lives, instead of showing it,
// and answers questions with `answer`. Nothing ever blocks a test.
#pragma once

#include <string>
#include <vector>

#include "platform/message_box.h"

namespace testsupport
{

struct CapturedBox
{
    std::string text;
    std::string caption;
    unsigned style;
};

class MessageBoxCapture
{
public:
    MessageBoxCapture() { SetMessageBoxHook(&MessageBoxCapture::Record, this); }
    ~MessageBoxCapture() { SetMessageBoxHook(nullptr, nullptr); }
    MessageBoxCapture(const MessageBoxCapture&) = delete;
    MessageBoxCapture& operator=(const MessageBoxCapture&) = delete;

    std::vector<CapturedBox> boxes;
    int answer = IDYES;

private:
    static int Record(const char* text, const char* caption, unsigned style, void* user)
    {
        auto* self = static_cast<MessageBoxCapture*>(user);
        self->boxes.push_back({text ? text : "", caption ? caption : "", style});
        return (style & 0xF) == MB_YESNO ? self->answer : IDOK;
    }
};

} // namespace testsupport
