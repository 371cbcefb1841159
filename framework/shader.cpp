// Shader: GL 2.0 entry points where present, the ARB shader objects otherwise (that path is
// left incomplete on purpose, and says so in the log).
#include "shader.h"

#include <GL/glew.h>
#include <cstring>
#include <iostream>

#include "logger.h"
#include "utils.h"

Shader::Shader() : vertexSource(nullptr), fragmentSource(nullptr), program(0), vertexShader(0), fragmentShader(0) {}

Shader::~Shader()
{
    delete[] vertexSource;
    delete[] fragmentSource;
}

// The whole file as a new NUL-terminated array; refused with the message that ends a load.
static Result readSource(const char* filename, bool staged, char*& source)
{
    logger << "Shader: Loading file: " << filename << std::endl;
    std::string content;
    Result read = readData(filename, content);
    if (!read.ok())
        return Result::refuse(std::string("Shader: Error! ") + filename + " " + refusal(read.reason(), staged) + "!");

    source = new char[content.size() + 1];
    memcpy(source, content.c_str(), content.size() + 1);
    return Result();
}

char* Shader::loadFile(const char* filename)
{
    char* source;
    Result read = readSource(filename, false, source);
    if (!read.ok()) fatal(read.reason());
    return source;
}

static bool coreShaders() { return glewIsSupported("GL_VERSION_2_0"); }

static bool arbShaders() { return GLEW_ARB_vertex_shader && GLEW_ARB_fragment_shader; }

// One object of each kind, through whichever API the context offers.
static unsigned int createShader(bool core, GLenum type)
{
    return core ? glCreateShader(type) : glCreateShaderObjectARB(type);
}

static void compile(bool core, unsigned int shader, const char* source)
{
    if (core) {
        glShaderSource(shader, 1, &source, nullptr);
        glCompileShader(shader);
    } else {
        glShaderSourceARB(shader, 1, &source, nullptr);
        glCompileShaderARB(shader);
    }
}

// Reports one line to the log and standard error alike.
static void report(const std::string& line)
{
    logger << line << std::endl;
    std::cerr << line << std::endl;
}

// GLEW loads the GL 2.0 entry points only on a GL 2.0 context. On the ARB path the same
// questions go through the shader-object extension instead of jumping to a null pointer.
static GLint objectValue(PFNGLGETSHADERIVPROC core, unsigned int object, GLenum coreName, GLenum arbName)
{
    GLint value = 0;
    if (coreShaders())
        core(object, coreName, &value);
    else
        glGetObjectParameterivARB(object, arbName, &value);
    return value;
}

// An object's info log, "" for none.
static std::string infoLog(PFNGLGETSHADERIVPROC coreValue, PFNGLGETSHADERINFOLOGPROC coreLog, unsigned int object)
{
    GLint length = objectValue(coreValue, object, GL_INFO_LOG_LENGTH, GL_OBJECT_INFO_LOG_LENGTH_ARB);
    if (length < 1) return "";
    std::string text(static_cast<size_t>(length), '\0');
    if (coreShaders())
        coreLog(object, length, nullptr, &text[0]);
    else
        glGetInfoLogARB(object, length, nullptr, &text[0]);
    text.resize(strlen(text.c_str()));
    return text;
}

// Any info log at all, warnings included, ends the program: shaders ship clean or not at all.
// Refused, with the message the program ends with, when there is one. A driver that reports a
// length of 1 for an empty log ends it too.
static Result withoutInfoLog(PFNGLGETSHADERIVPROC coreValue, PFNGLGETSHADERINFOLOGPROC coreLog, unsigned int object)
{
    if (objectValue(coreValue, object, GL_INFO_LOG_LENGTH, GL_OBJECT_INFO_LOG_LENGTH_ARB) < 1) return Result();
    std::string text = infoLog(coreValue, coreLog, object);
    logger << "Shader: Info log: " << std::endl << text << std::endl;
    return Result::refuse("Shader: Info log: \n" + text);
}

// The checks of validateShader and validateProgram, handing back what would end the program.
static Result shaderPasses(unsigned int shader)
{
    logger << "Shader: Validating shader: " << shader << std::endl;
    if (!objectValue(glGetShaderiv, shader, GL_COMPILE_STATUS, GL_OBJECT_COMPILE_STATUS_ARB))
        report("Shader: Error compiling " + std::to_string(shader));
    return withoutInfoLog(glGetShaderiv, glGetShaderInfoLog, shader);
}

static Result programPasses(unsigned int program)
{
    logger << "Shader: Validating program: " << program << std::endl;
    coreShaders() ? glValidateProgram(program) : glValidateProgramARB(program);
    if (!objectValue(glGetProgramiv, program, GL_VALIDATE_STATUS, GL_OBJECT_VALIDATE_STATUS_ARB))
        report("Shader: Error validating program " + std::to_string(program));
    if (!objectValue(glGetProgramiv, program, GL_LINK_STATUS, GL_OBJECT_LINK_STATUS_ARB))
        report("Shader: Error linking program " + std::to_string(program));
    return withoutInfoLog(glGetProgramiv, glGetProgramInfoLog, program);
}

// Whether the program linked, with the linker's own words when it did not. Read before the
// validation, which replaces the program's log with its own.
static Result linked(unsigned int program)
{
    if (objectValue(glGetProgramiv, program, GL_LINK_STATUS, GL_OBJECT_LINK_STATUS_ARB)) return Result();
    std::string log = infoLog(glGetProgramiv, glGetProgramInfoLog, program);
    while (!log.empty() && (log.back() == '\n' || log.back() == ' ')) log.pop_back();
    std::string error = "Shader: Error linking program " + std::to_string(program) + (log.empty() ? "" : ": " + log);
    logger << error << std::endl;
    return Result::refuse(error);
}

void Shader::init(std::string, const char* vertexFile, const char* fragmentFile)
{
    Result built = build(vertexFile, fragmentFile, false);
    if (!built.ok()) fatal(built.reason());
}

Result Shader::build(const char* vertexFile, const char* fragmentFile, bool staged)
{
    Result read = readSource(vertexFile, staged, vertexSource);
    if (!read.ok()) return read;
    read = readSource(fragmentFile, staged, fragmentSource);
    if (!read.ok()) return read;

    bool core = coreShaders();
    if (core) {
        logger << "Shader: Using OpenGL 2.0 shader." << std::endl;
    } else if (arbShaders()) {
        logger << "Shader: Using OpenGL ARB shader! - NOT DONE YET!" << std::endl;
    } else {
        logger << "Shader: GLSL is not supported!" << std::endl;
        return Result();
    }

    logger << "Shader: Creating vertex shader object: " << vertexFile << std::endl;
    vertexShader = createShader(core, GL_VERTEX_SHADER);
    logger << "Shader: Attatching vertex shader source (" << vertexFile << ") to shader object: " << vertexShader
           << std::endl;
    logger << "Shader: Compiling vertex shader: " << vertexFile << std::endl;
    compile(core, vertexShader, vertexSource);
    Result passed = shaderPasses(vertexShader);
    if (!passed.ok()) return passed;

    logger << "Shader: Creating fragment shader object: " << fragmentFile << std::endl;
    fragmentShader = createShader(core, GL_FRAGMENT_SHADER);
    // The log's words are fixed: this line names the vertex file, with two blanks before the
    // parenthesis.
    logger << "Shader: Attatching fragment shader source  (" << vertexFile << ") to shader object: " << fragmentShader
           << std::endl;
    logger << "Shader: Compiling fragment shader: " << fragmentFile << std::endl;
    compile(core, fragmentShader, fragmentSource);
    passed = shaderPasses(fragmentShader);
    if (!passed.ok()) return passed;

    logger << "Shader: Creating program object: " << program << std::endl;
    program = core ? glCreateProgram() : glCreateProgramObjectARB();
    logger << "Shader: Attaching vertex shader source (" << vertexFile << ") to program object: " << program
           << std::endl;
    core ? glAttachShader(program, vertexShader) : glAttachObjectARB(program, vertexShader);
    logger << "Shader: Attaching fragment shader source (" << fragmentFile << ") to program object: " << program
           << std::endl;
    core ? glAttachShader(program, fragmentShader) : glAttachObjectARB(program, fragmentShader);
    logger << "Shader: Linking program object: " << program << std::endl;
    core ? glLinkProgram(program) : glLinkProgramARB(program);
    if (staged) {
        passed = linked(program);
        if (!passed.ok()) return passed;
    }
    return programPasses(program);
}

void Shader::validateShader(unsigned int shader)
{
    Result passed = shaderPasses(shader);
    if (!passed.ok()) fatal(passed.reason());
}

void Shader::validateProgram(unsigned int program)
{
    Result passed = programPasses(program);
    if (!passed.ok()) fatal(passed.reason());
}

// Called while drawing, so the cheap GLEW flags rather than a version-string look-up. Without
// any GLSL there is no program to leave, and the fixed-function pipeline is already in use.
static void useProgram(unsigned int program)
{
    if (GLEW_VERSION_2_0)
        glUseProgram(program);
    else if (GLEW_ARB_shader_objects)
        glUseProgramObjectARB(program);
}

void Shader::bind() { useProgram(program); }

void Shader::unbind() { useProgram(0); }

unsigned int Shader::getUniformLocation(const char* name)
{
    GLint location = glGetUniformLocationARB(program, name);
    if (location == -1) fatal(std::string("Shader: Cannot find uniform variable ") + name + " in shader.");
    return static_cast<unsigned int>(location);
}

unsigned int Shader::getAttribLocation(const char* name)
{
    GLint location = glGetAttribLocationARB(program, name);
    if (location == -1) fatal(std::string("Shader: Cannot find attrib ") + name + " in shader.");
    return static_cast<unsigned int>(location);
}

// The single-value setters go through the ARB entry points, the rest through GL 2.0: both
// reach the same driver functions on any GL 2.0 context.
bool Shader::setUniform1f(const char* name, float v0) { glUniform1fARB(getUniformLocation(name), v0); return true; }
bool Shader::setUniform2f(const char* name, float v0, float v1) { glUniform2fARB(getUniformLocation(name), v0, v1); return true; }
bool Shader::setUniform3f(const char* name, float v0, float v1, float v2) { glUniform3fARB(getUniformLocation(name), v0, v1, v2); return true; }
bool Shader::setUniform4f(const char* name, float v0, float v1, float v2, float v3) { glUniform4fARB(getUniformLocation(name), v0, v1, v2, v3); return true; }
bool Shader::setUniform1i(const char* name, int v0) { glUniform1iARB(getUniformLocation(name), v0); return true; }
bool Shader::setUniform2i(const char* name, int v0, int v1) { glUniform2iARB(getUniformLocation(name), v0, v1); return true; }
bool Shader::setUniform3i(const char* name, int v0, int v1, int v2) { glUniform3iARB(getUniformLocation(name), v0, v1, v2); return true; }
bool Shader::setUniform4i(const char* name, int v0, int v1, int v2, int v3) { glUniform4iARB(getUniformLocation(name), v0, v1, v2, v3); return true; }
bool Shader::setUniform1fv(const char* name, int count, float* value) { glUniform1fv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform2fv(const char* name, int count, float* value) { glUniform2fv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform3fv(const char* name, int count, float* value) { glUniform3fv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform4fv(const char* name, int count, float* value) { glUniform4fv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform1iv(const char* name, int count, int* value) { glUniform1iv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform2iv(const char* name, int count, int* value) { glUniform2iv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform3iv(const char* name, int count, int* value) { glUniform3iv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniform4iv(const char* name, int count, int* value) { glUniform4iv(getUniformLocation(name), count, value); return true; }
bool Shader::setUniformMatrix2fv(const char* name, int count, unsigned char transpose, float* value) { glUniformMatrix2fv(getUniformLocation(name), count, transpose, value); return true; }
bool Shader::setUniformMatrix3fv(const char* name, int count, unsigned char transpose, float* value) { glUniformMatrix3fv(getUniformLocation(name), count, transpose, value); return true; }
bool Shader::setUniformMatrix4fv(const char* name, int count, unsigned char transpose, float* value) { glUniformMatrix4fv(getUniformLocation(name), count, transpose, value); return true; }
bool Shader::setVertexAttrib1f(const char* name, float v0) { glVertexAttrib1f(getAttribLocation(name), v0); return true; }
bool Shader::setVertexAttrib2f(const char* name, float v0, float v1) { glVertexAttrib2f(getAttribLocation(name), v0, v1); return true; }
bool Shader::setVertexAttrib3f(const char* name, float v0, float v1, float v2) { glVertexAttrib3f(getAttribLocation(name), v0, v1, v2); return true; }
bool Shader::setVertexAttrib4f(const char* name, float v0, float v1, float v2, float v3) { glVertexAttrib4f(getAttribLocation(name), v0, v1, v2, v3); return true; }
bool Shader::setVertexAttrib1fv(const char* name, float* value) { glVertexAttrib1fv(getAttribLocation(name), value); return true; }
bool Shader::setVertexAttrib2fv(const char* name, float* value) { glVertexAttrib2fv(getAttribLocation(name), value); return true; }
bool Shader::setVertexAttrib3fv(const char* name, float* value) { glVertexAttrib3fv(getAttribLocation(name), value); return true; }
bool Shader::setVertexAttrib4fv(const char* name, float* value) { glVertexAttrib4fv(getAttribLocation(name), value); return true; }

void Shader::release()
{
    bool core = coreShaders();
    if (!core && !arbShaders()) {
        logger << "Shader: skipping release, shader not supported!" << std::endl;
        return;
    }
    logger << "Shader: Detaching vertex shader " << vertexShader << " from program object " << program << std::endl;
    core ? glDetachShader(program, vertexShader) : glDetachObjectARB(program, vertexShader);
    logger << "Shader: Detaching fragment shader " << fragmentShader << " from program object " << program << std::endl;
    core ? glDetachShader(program, fragmentShader) : glDetachObjectARB(program, fragmentShader);

    if (vertexShader != 0) logger << "Shader: Deleting vertex shader object: " << vertexShader << std::endl;
    core ? glDeleteShader(vertexShader) : glDeleteObjectARB(vertexShader);
    if (fragmentShader != 0) logger << "Shader: Deleting fragment shader object: " << fragmentShader << std::endl;
    core ? glDeleteShader(fragmentShader) : glDeleteObjectARB(fragmentShader);
    if (program != 0) logger << "Shader: Deleting program object: " << program << std::endl;
    core ? glDeleteProgram(program) : glDeleteObjectARB(program);
}
