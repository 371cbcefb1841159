// The picture modulated by the vertex colour, as the fixed-function pipeline draws it.
uniform sampler2D picture;

void main()
{
    gl_FragColor = texture2D(picture, gl_TexCoord[0].st) * gl_Color;
}
