// Virtual-key codes (the Win32 values the engine and its console are written
// in) and the mapping from SDL's keys to them.
//
// Keys whose meaning is positional are mapped by scancode, after the French
// keyboard the console's character table is made for: the digit row gives
// '0'..'9', the key below Escape VK_OEM_7, the key right of 0 VK_OEM_4 and
// the next one VK_OEM_PLUS. Letters follow the keyboard layout (a key that
// types 'a' is 'A' = 0x41), falling back to their position.
#pragma once

#include <cstdint>

constexpr uint32_t VK_BACK = 0x08;
constexpr uint32_t VK_TAB = 0x09;
constexpr uint32_t VK_RETURN = 0x0D;
constexpr uint32_t VK_SHIFT = 0x10;
constexpr uint32_t VK_CONTROL = 0x11;
constexpr uint32_t VK_MENU = 0x12;
constexpr uint32_t VK_PAUSE = 0x13;
constexpr uint32_t VK_CAPITAL = 0x14;
constexpr uint32_t VK_ESCAPE = 0x1B;
constexpr uint32_t VK_SPACE = 0x20;
constexpr uint32_t VK_PRIOR = 0x21;
constexpr uint32_t VK_NEXT = 0x22;
constexpr uint32_t VK_END = 0x23;
constexpr uint32_t VK_HOME = 0x24;
constexpr uint32_t VK_LEFT = 0x25;
constexpr uint32_t VK_UP = 0x26;
constexpr uint32_t VK_RIGHT = 0x27;
constexpr uint32_t VK_DOWN = 0x28;
constexpr uint32_t VK_SNAPSHOT = 0x2C;
constexpr uint32_t VK_INSERT = 0x2D;
constexpr uint32_t VK_DELETE = 0x2E;
// '0'..'9' are 0x30..0x39 and 'A'..'Z' 0x41..0x5A, as their characters.
constexpr uint32_t VK_LWIN = 0x5B;
constexpr uint32_t VK_RWIN = 0x5C;
constexpr uint32_t VK_APPS = 0x5D;
constexpr uint32_t VK_NUMPAD0 = 0x60;
constexpr uint32_t VK_MULTIPLY = 0x6A;
constexpr uint32_t VK_ADD = 0x6B;
constexpr uint32_t VK_SUBTRACT = 0x6D;
constexpr uint32_t VK_DECIMAL = 0x6E;
constexpr uint32_t VK_DIVIDE = 0x6F;
constexpr uint32_t VK_F1 = 0x70;
constexpr uint32_t VK_F3 = 0x72;
constexpr uint32_t VK_F12 = 0x7B;
constexpr uint32_t VK_NUMLOCK = 0x90;
constexpr uint32_t VK_SCROLL = 0x91;
constexpr uint32_t VK_OEM_1 = 0xBA;
constexpr uint32_t VK_OEM_PLUS = 0xBB;
constexpr uint32_t VK_OEM_COMMA = 0xBC;
constexpr uint32_t VK_OEM_MINUS = 0xBD;
constexpr uint32_t VK_OEM_PERIOD = 0xBE;
constexpr uint32_t VK_OEM_2 = 0xBF;
constexpr uint32_t VK_OEM_3 = 0xC0;
constexpr uint32_t VK_OEM_4 = 0xDB;
constexpr uint32_t VK_OEM_5 = 0xDC;
constexpr uint32_t VK_OEM_6 = 0xDD;
constexpr uint32_t VK_OEM_7 = 0xDE;
constexpr uint32_t VK_OEM_8 = 0xDF;
constexpr uint32_t VK_OEM_102 = 0xE2;

// The VK_ code for an SDL scancode and keycode (SDL_Scancode, SDL_Keycode),
// or 0 for a key the engine has no code for.
uint32_t VirtualKeyFromSdl(int scancode, int keycode);
