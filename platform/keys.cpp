#include "platform/keys.h"

#include <SDL.h>

namespace
{

struct KeyPair
{
    SDL_Scancode scancode;
    uint32_t vk;
};

// Keys mapped by where they sit. The punctuation keys carry the codes of a
// French keyboard, whose character table the console uses.
const KeyPair kPositional[] = {
    {SDL_SCANCODE_GRAVE, VK_OEM_7},
    {SDL_SCANCODE_MINUS, VK_OEM_4},
    {SDL_SCANCODE_EQUALS, VK_OEM_PLUS},
    {SDL_SCANCODE_LEFTBRACKET, VK_OEM_6},
    {SDL_SCANCODE_RIGHTBRACKET, VK_OEM_1},
    {SDL_SCANCODE_APOSTROPHE, VK_OEM_3},
    {SDL_SCANCODE_BACKSLASH, VK_OEM_5},
    {SDL_SCANCODE_NONUSBACKSLASH, VK_OEM_102},
    {SDL_SCANCODE_SEMICOLON, VK_OEM_1},
    {SDL_SCANCODE_COMMA, VK_OEM_PERIOD},
    {SDL_SCANCODE_PERIOD, VK_OEM_2},
    {SDL_SCANCODE_SLASH, VK_OEM_8},
    {SDL_SCANCODE_BACKSPACE, VK_BACK},
    {SDL_SCANCODE_TAB, VK_TAB},
    {SDL_SCANCODE_RETURN, VK_RETURN},
    {SDL_SCANCODE_KP_ENTER, VK_RETURN},
    {SDL_SCANCODE_LSHIFT, VK_SHIFT},
    {SDL_SCANCODE_RSHIFT, VK_SHIFT},
    {SDL_SCANCODE_LCTRL, VK_CONTROL},
    {SDL_SCANCODE_RCTRL, VK_CONTROL},
    {SDL_SCANCODE_LALT, VK_MENU},
    {SDL_SCANCODE_PAUSE, VK_PAUSE},
    {SDL_SCANCODE_CAPSLOCK, VK_CAPITAL},
    {SDL_SCANCODE_ESCAPE, VK_ESCAPE},
    {SDL_SCANCODE_SPACE, VK_SPACE},
    {SDL_SCANCODE_PAGEUP, VK_PRIOR},
    {SDL_SCANCODE_PAGEDOWN, VK_NEXT},
    {SDL_SCANCODE_END, VK_END},
    {SDL_SCANCODE_HOME, VK_HOME},
    {SDL_SCANCODE_LEFT, VK_LEFT},
    {SDL_SCANCODE_UP, VK_UP},
    {SDL_SCANCODE_RIGHT, VK_RIGHT},
    {SDL_SCANCODE_DOWN, VK_DOWN},
    {SDL_SCANCODE_PRINTSCREEN, VK_SNAPSHOT},
    {SDL_SCANCODE_INSERT, VK_INSERT},
    {SDL_SCANCODE_DELETE, VK_DELETE},
    {SDL_SCANCODE_LGUI, VK_LWIN},
    {SDL_SCANCODE_RGUI, VK_RWIN},
    {SDL_SCANCODE_APPLICATION, VK_APPS},
    {SDL_SCANCODE_KP_MULTIPLY, VK_MULTIPLY},
    {SDL_SCANCODE_KP_PLUS, VK_ADD},
    {SDL_SCANCODE_KP_MINUS, VK_SUBTRACT},
    {SDL_SCANCODE_KP_PERIOD, VK_DECIMAL},
    {SDL_SCANCODE_KP_DIVIDE, VK_DIVIDE},
    {SDL_SCANCODE_NUMLOCKCLEAR, VK_NUMLOCK},
    {SDL_SCANCODE_SCROLLLOCK, VK_SCROLL},
};

} // namespace

uint32_t VirtualKeyFromSdl(int scancode, int keycode)
{
    // Letters as the layout types them.
    if (keycode >= SDLK_a && keycode <= SDLK_z)
        return 'A' + static_cast<uint32_t>(keycode - SDLK_a);
    // Where the French layout puts the comma, the layout types no letter.
    if (scancode == SDL_SCANCODE_M && keycode != SDLK_UNKNOWN)
        return VK_OEM_COMMA;
    if (scancode >= SDL_SCANCODE_A && scancode <= SDL_SCANCODE_Z)
        return 'A' + static_cast<uint32_t>(scancode - SDL_SCANCODE_A);
    // The digit row by position: SDL orders it 1..9, 0.
    if (scancode >= SDL_SCANCODE_1 && scancode <= SDL_SCANCODE_9)
        return '1' + static_cast<uint32_t>(scancode - SDL_SCANCODE_1);
    if (scancode == SDL_SCANCODE_0)
        return '0';
    if (scancode >= SDL_SCANCODE_KP_1 && scancode <= SDL_SCANCODE_KP_9)
        return VK_NUMPAD0 + 1 + static_cast<uint32_t>(scancode - SDL_SCANCODE_KP_1);
    if (scancode == SDL_SCANCODE_KP_0)
        return VK_NUMPAD0;
    if (scancode >= SDL_SCANCODE_F1 && scancode <= SDL_SCANCODE_F12)
        return VK_F1 + static_cast<uint32_t>(scancode - SDL_SCANCODE_F1);
    for (const KeyPair& k : kPositional)
        if (k.scancode == scancode)
            return k.vk;
    return 0;
}
