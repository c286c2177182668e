#include "hatching/volume_texture.h"

#include "hatching/preview_state.h"
#include "resources/engine_base.h"

VolumeTexture::VolumeTexture() : wrapR(GL_CLAMP)
{
    target = GL_TEXTURE_3D;
}

void VolumeTexture::Bind()
{
    glBindTexture(GL_TEXTURE_3D, id);
}

void VolumeTexture::DrawPreview(float scale)
{
    PreparePreview(this, GL_TEXTURE_3D, GL_TEXTURE_2D);
    float w = static_cast<float>(width), h = static_cast<float>(height);
    glPushMatrix();
    glBegin(GL_QUADS);
    glTexCoord3f(0, 0, 0);
    glVertex3f(400 - w, 300 + h, 0);
    glTexCoord3f(scale, 0, 1);
    glVertex3f(400 + w, 300 + h, 0);
    glTexCoord3f(scale, scale, 1);
    glVertex3f(400 + w, 300 - h, 0);
    glTexCoord3f(0, scale, 0);
    glVertex3f(400 - w, 300 - h, 0);
    glEnd();
    glPopMatrix();
    g_engine->renderState.UnitTexture(GL_TEXTURE_3D, false);
}
