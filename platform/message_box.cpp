#include "platform/message_box.h"

#include <SDL.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "platform/messages.h"

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

// In the box's own process: the copies of the program's display
// connections (and any other socket) are pointed at a socket that nobody
// reads, so what SDL sends on them on the way to the box never enters the
// program's streams. The box opens a connection of its own.
void MuteInheritedSockets()
{
    int ends[2];
    DIR* fds = opendir("/proc/self/fd");
    if (!fds || socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        _exit(0);
    while (struct dirent* e = readdir(fds))
    {
        int fd = atoi(e->d_name);
        struct stat st;
        if (fd > 2 && fd != dirfd(fds) && fd != ends[0] && fd != ends[1] && fstat(fd, &st) == 0 &&
            S_ISSOCK(st.st_mode))
            dup2(ends[0], fd);
    }
    closedir(fds);
}

// SDL's box waits for a click and lets no signal through, so it is shown
// from a process of its own that the program can end: when SIGTERM or
// SIGINT arrives, the box (with what SDL started for it, one process group)
// is ended and the call answers -1, leaving the signal to the main loop.
// The box's process leaves by _exit only: the program's exit handlers and
// files are not its own.
int ShowBoxAside(const char* text, const char* caption, unsigned style)
{
    InstallCloseSignals();
    if (CloseSignalPending())
        return -1;
    // SDL's own process for the box is reparented here when the box's
    // process ends before it, so that both are reaped.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    pid_t program = getpid();
    pid_t box = fork();
    if (box < 0)
        return ShowSdlBox(text, caption, style);
    if (box == 0)
    {
        setpgid(0, 0);
        signal(SIGTERM, SIG_DFL);
        signal(SIGINT, SIG_DFL);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != program)
            _exit(0);
        MuteInheritedSockets();
        int answer = ShowSdlBox(text, caption, style);
        _exit(answer > 0 && answer < 256 ? answer : 0);
    }
    setpgid(box, box);
    const struct timespec pause = {0, 20 * 1000 * 1000};
    int status = 0;
    for (;;)
    {
        pid_t ended = waitpid(box, &status, WNOHANG);
        if (ended == box)
            break;
        if (ended < 0 && errno != EINTR)
            return -1;
        if (CloseSignalPending())
        {
            kill(-box, SIGTERM);
            while (waitpid(-box, &status, 0) > 0 || errno == EINTR)
            {
            }
            return -1;
        }
        nanosleep(&pause, nullptr);
    }
    return WIFEXITED(status) && WEXITSTATUS(status) > 0 ? WEXITSTATUS(status) : -1;
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
        int answer = ShowBoxAside(text, caption, style);
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
