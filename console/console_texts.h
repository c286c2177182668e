// Every text the console itself writes, in one place: its caption, the
// answers of Execute, and the result lines of its commands.
#pragma once

namespace consoletext
{

// Drawn at the top of the box.
constexpr const char* kCaption = "T3sS1m0 CoNSol3";

// Execute's two built-in words and the file savelog writes.
constexpr const char* kSaveLogWord = "savelog";
constexpr const char* kHelpWord = "help";
constexpr const char* kLogFile = "console.log";
constexpr const char* kLogSaved = "> console log saved into file <%s>";
constexpr const char* kHelpLine = "> %s";
constexpr const char* kUnknown = "> command or variable unknown.";

// What a string command gets when its word ends the line.
constexpr const char* kNoArgument = "nothing";

// Variable reads and assignments.
constexpr const char* kIntValue = "> %s is equal to %d";
constexpr const char* kBoolTrue = "> %s is equal to true";
constexpr const char* kBoolFalse = "> %s is equal to false";
constexpr const char* kFloatValue = "> %s is equal to %f";

// Command results.
constexpr const char* kPolygonMode = "> polygone mode : %s";
constexpr const char* kFlatShading = "> flat shading lighting";
constexpr const char* kSmoothShading = "> smooth shading lighting";
constexpr const char* kDriverString = "> %s";
constexpr const char* kExtensionFound = "> %s extension found";
constexpr const char* kExtensionNotFound = "> %s extension not found";
constexpr const char* kFovSet = "> fov set to %f";
constexpr const char* kTextureAdded = "> texture <%s> added to the list";
constexpr const char* kTextureNotAdded = "> can't add texture <%s> to the list";
constexpr const char* kTextureDeleted = "> texture <%s> deleted";
constexpr const char* kTextureRemoved = "> texture <%s> has been removed from list";
constexpr const char* kTextureNotFound = "> texture <%s> not found";
constexpr const char* kTexturesListed = "> %d textures listed";
constexpr const char* kTexturesReloaded = "> %d textures reloaded";
constexpr const char* kShaderAdded = "> shader <%s> has been added to the list";
constexpr const char* kShaderNotAdded = "> can't add shader <%s> to the list";
constexpr const char* kShaderDeleted = "> shader <%s> deleted";
// Worded like its texture counterpart.
constexpr const char* kShaderRemoved = "> shader <%s> has been removed from list";
constexpr const char* kShaderNotFound = "> shader <%s> not found";
constexpr const char* kShadersListed = "> %d shaders listed";
constexpr const char* kShadersReloaded = "> %d shaders reloaded";
constexpr const char* kFullscreen = "> switching to full screen mode";
constexpr const char* kWindowed = "> switching to windowed screen mode";

// The line the display mode commands run after the switch.
constexpr const char* kReloadTexturesLine = "r_reloadtextures";

} // namespace consoletext
