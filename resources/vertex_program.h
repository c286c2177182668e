// VertexProgram: one program in the text language of GL_ARB_vertex_program,
// read through FileBuffer (so from the disk or the data archive).
//
// The registry keeps one object per file (Engine AddVertexProgram) and the
// engine's SetVertexProgram turns it on and off. The object keeps only the
// GL name and the file name; the program text lives in GL. A program that
// GL rejects stays usable as an object: the console shows why, and the
// driver decides what it draws.
//
// On a driver without GL_ARB_vertex_program the object is made all the
// same but never touches GL: it has no GL name, Compile fails without a
// word, Enable and Disable do nothing.
#pragma once

#include <cstdint>

class VertexProgram
{
public:
    VertexProgram();
    // Deletes the GL program, if one was made.
    virtual ~VertexProgram();
    VertexProgram(const VertexProgram&) = delete;
    VertexProgram& operator=(const VertexProgram&) = delete;

    // Stores `fileName`, makes the GL name and compiles the file into it.
    virtual bool Create(const char* fileName);
    // Deletes the GL program; the object stays.
    virtual void Destroy();
    // Compiles `name` again into the same GL name, so that holders of the
    // object see the new program at the next Enable. A file that has gone
    // leaves the program compiled last in place.
    virtual bool Reload();
    virtual void Enable();
    virtual void Disable();
    // Reads `fileName` and hands it to GL. A rejected program gives two
    // console lines: the position, and the rest of the offending line with
    // the driver's message.
    virtual bool Compile(const char* fileName);

    uint32_t id;
    char name[256];
};

// The text of a program from `position` up to the line feed, the end of the
// text or 255 characters, whichever comes first, into `out` (terminated).
// A position outside the text gives an empty line.
void CopyErrorLine(const char* text, uint32_t length, int32_t position, char (&out)[256]);
