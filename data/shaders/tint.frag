// The picture in one hue: its brightness times the tint, its alpha kept.
uniform sampler2D picture;
uniform vec4 tint;

void main()
{
    vec4 texel = texture2D(picture, gl_TexCoord[0].st);
    float brightness = dot(texel.rgb, vec3(0.299, 0.587, 0.114));
    gl_FragColor = vec4(brightness * tint.rgb, texel.a * tint.a);
}
