// Shader: one GLSL program from a vertex and a fragment file. Every compiler or linker
// message is fatal; every setter looks its variable up by name on each call.
//
// Depends on: OpenGL 2.0 or the ARB shader objects, through GLEW 2.2. Owns: its GL program
// and shader objects, and the two source texts.
#pragma once

#include <string>

#include "logger.h"

class Shader {
public:
    char* vertexSource;
    char* fragmentSource;
    unsigned int program;
    unsigned int vertexShader;
    unsigned int fragmentShader;

    Shader();
    ~Shader();

    // The whole file as a new NUL-terminated array; a missing file is fatal
    char* loadFile(const char* filename);
    // Loads, compiles, links and validates the pair; whatever build() stops at ends the program
    void init(std::string name, const char* vertexFile, const char* fragmentFile);
    void validateShader(unsigned int shader);
    void validateProgram(unsigned int program);
    void bind();
    void unbind();
    unsigned int getUniformLocation(const char* name);
    unsigned int getAttribLocation(const char* name);

    bool setUniform1f(const char* name, float v0);
    bool setUniform2f(const char* name, float v0, float v1);
    bool setUniform3f(const char* name, float v0, float v1, float v2);
    bool setUniform4f(const char* name, float v0, float v1, float v2, float v3);
    bool setUniform1i(const char* name, int v0);
    bool setUniform2i(const char* name, int v0, int v1);
    bool setUniform3i(const char* name, int v0, int v1, int v2);
    bool setUniform4i(const char* name, int v0, int v1, int v2, int v3);
    bool setUniform1fv(const char* name, int count, float* value);
    bool setUniform2fv(const char* name, int count, float* value);
    bool setUniform3fv(const char* name, int count, float* value);
    bool setUniform4fv(const char* name, int count, float* value);
    bool setUniform1iv(const char* name, int count, int* value);
    bool setUniform2iv(const char* name, int count, int* value);
    bool setUniform3iv(const char* name, int count, int* value);
    bool setUniform4iv(const char* name, int count, int* value);
    bool setUniformMatrix2fv(const char* name, int count, unsigned char transpose, float* value);
    bool setUniformMatrix3fv(const char* name, int count, unsigned char transpose, float* value);
    bool setUniformMatrix4fv(const char* name, int count, unsigned char transpose, float* value);
    bool setVertexAttrib1f(const char* name, float v0);
    bool setVertexAttrib2f(const char* name, float v0, float v1);
    bool setVertexAttrib3f(const char* name, float v0, float v1, float v2);
    bool setVertexAttrib4f(const char* name, float v0, float v1, float v2, float v3);
    bool setVertexAttrib1fv(const char* name, float* value);
    bool setVertexAttrib2fv(const char* name, float* value);
    bool setVertexAttrib3fv(const char* name, float* value);
    bool setVertexAttrib4fv(const char* name, float* value);

    void release();

    // Everything init does, stopping where init would end the program: refused, with that
    // message. Staged (for a reload on save), a pair that does not link is refused as well
    Result build(const char* vertexFile, const char* fragmentFile, bool staged);
};
