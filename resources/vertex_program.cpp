#include "resources/vertex_program.h"

#include <cstdio>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/report.h"
#include "archive/file_buffer.h"
#include "resources/engine_base.h"

namespace
{

const char* const kCompiled = "> '%s' vertex program loaded and compiled successfully";
const char* const kRejected = "> error when compilating vertex program '%s' at character %d";
const char* const kRejectedLine = "  '%s' : %s";

bool HasExtension()
{
    return g_engine && g_engine->capabilities.hasVertexProgram && ep_glGenProgramsARB;
}

} // namespace

void CopyErrorLine(const char* text, uint32_t length, int32_t position, char (&out)[256])
{
    uint32_t n = 0;
    if (position >= 0)
    {
        for (uint32_t i = static_cast<uint32_t>(position); i < length && n < 255; ++i, ++n)
        {
            if (text[i] == '\n')
                break;
            out[n] = text[i];
        }
    }
    out[n] = 0;
}

VertexProgram::VertexProgram() : id(0)
{
    name[0] = 0;
}

// The text leaves open whether the GL program outlives its object; here it
// doesn't, so deleting a program from the registry leaks no GL name.
VertexProgram::~VertexProgram()
{
    if (id != 0 && HasExtension())
        glDeleteProgramsARB(1, &id);
}

bool VertexProgram::Create(const char* fileName)
{
    snprintf(name, sizeof name, "%s", fileName ? fileName : "");
    if (HasExtension())
        glGenProgramsARB(1, &id);
    return Compile(name);
}

void VertexProgram::Destroy()
{
    if (id != 0 && HasExtension())
        glDeleteProgramsARB(1, &id);
    id = 0;
}

bool VertexProgram::Reload()
{
    return Compile(name);
}

void VertexProgram::Enable()
{
    if (!HasExtension())
        return;
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, id);
    glEnable(GL_VERTEX_PROGRAM_ARB);
}

void VertexProgram::Disable()
{
    if (HasExtension())
        glDisable(GL_VERTEX_PROGRAM_ARB);
}

bool VertexProgram::Compile(const char* fileName)
{
    if (!HasExtension())
        return false;
    FileBuffer file;
    if (!file.Open(fileName, g_engine->archiveName, g_engine->archivePassword))
        return false;
    uint8_t* bytes = nullptr;
    uint32_t length = file.size;
    file.ReadPointer(&bytes, length);
    // The length goes to GL, but Mesa's parser also runs strlen over the
    // text: it gets a terminated copy, so it never reads past the file. An
    // empty file (which may come without a block) gives an empty text.
    std::vector<char> terminated;
    if (bytes)
        terminated.assign(bytes, bytes + length);
    terminated.push_back(0);
    const char* text = terminated.data();

    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, id);
    glProgramStringARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_FORMAT_ASCII_ARB,
                       static_cast<GLsizei>(length), text);
    GLint position = -1;
    glGetIntegerv(GL_PROGRAM_ERROR_POSITION_ARB, &position);

    bool compiled = position == -1;
    if (compiled)
        Report(ToConsole, Frame::None, kCompiled, fileName);
    else
    {
        Report(ToConsole, Frame::None, kRejected, fileName, position);
        char line[256];
        CopyErrorLine(text, length, position, line);
        const GLubyte* message = glGetString(GL_PROGRAM_ERROR_STRING_ARB);
        Report(ToConsole, Frame::None, kRejectedLine, line,
               message ? reinterpret_cast<const char*>(message) : "");
    }
    file.Close();
    return compiled;
}
