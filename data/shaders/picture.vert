// A textured pass-through: fixed-function transform, first texture unit's coordinates.
void main()
{
    gl_TexCoord[0] = gl_MultiTexCoord0;
    gl_FrontColor = gl_Color;
    gl_Position = ftransform();
}
