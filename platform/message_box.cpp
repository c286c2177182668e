#include "platform/message_box.h"

#include <SDL.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

MessageBoxHook g_hook = nullptr;
void* g_hookUser = nullptr;

int DefaultAnswer(unsigned style)
{
    return (style & 0xF) == MB_YESNO ? IDYES : IDOK;
}

// A box can be shown when someone can see it: not in headless runs, and
// not on SDL's drivers without a screen.
bool CanShowBoxes()
{
    const char* headless = getenv("TESSIMO_HEADLESS");
    if (headless && headless[0] && strcmp(headless, "0") != 0)
        return false;
    const char* driver = getenv("SDL_VIDEODRIVER");
    if (driver && (strcmp(driver, "offscreen") == 0 || strcmp(driver, "dummy") == 0))
        return false;
    return getenv("DISPLAY") || getenv("WAYLAND_DISPLAY");
}

int ShowSdlBox(const char* text, const char* caption, unsigned style)
{
    Uint32 flags = SDL_MESSAGEBOX_INFORMATION;
    if ((style & 0xF0) == MB_ICONSTOP)
        flags = SDL_MESSAGEBOX_ERROR;
    else if ((style & 0xF0) == MB_ICONEXCLAMATION)
        flags = SDL_MESSAGEBOX_WARNING;
    SDL_MessageBoxButtonData yesNo[] = {
        {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT, IDYES, "Yes"},
        {SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT, IDNO, "No"},
    };
    SDL_MessageBoxButtonData ok[] = {
        {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT | SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT, IDOK,
         "OK"},
    };
    bool question = (style & 0xF) == MB_YESNO;
    SDL_MessageBoxData data = {};
    data.flags = flags;
    data.title = caption;
    data.message = text;
    data.numbuttons = question ? 2 : 1;
    data.buttons = question ? yesNo : ok;
    int answer = 0;
    if (SDL_ShowMessageBox(&data, &answer) != 0 || answer <= 0)
        return -1;
    return answer;
}

} // namespace

int MessageBox(const char* text, const char* caption, unsigned style)
{
    text = text ? text : "";
    caption = caption ? caption : "";
    if (g_hook)
        return g_hook(text, caption, style, g_hookUser);
    if (CanShowBoxes())
    {
        int answer = ShowSdlBox(text, caption, style);
        if (answer > 0)
            return answer;
    }
    int answer = DefaultAnswer(style);
    fprintf(stderr, "[%s] %s%s\n", caption, text, answer == IDYES ? " (answered Yes)" : "");
    return answer;
}

void SetMessageBoxHook(MessageBoxHook hook, void* user)
{
    g_hook = hook;
    g_hookUser = user;
}
