// The scene object base: the position operations on its transform.
#include <gtest/gtest.h>

#include "scene/scene_object.h"

namespace
{

struct Thing : SceneObject
{
    void Draw() override {}
};

TEST(SceneObject, PositionAndTranslationOnATurnedObject)
{
    Thing t;
    Vec4 p = t.GetPosition();
    EXPECT_EQ(p.x, 0.0f);
    EXPECT_EQ(p.w, 0.0f);
    t.SetPosition(Vec4(1.0f, 2.0f, 3.0f, 9.0f));
    p = t.GetPosition();
    EXPECT_EQ(p.x, 1.0f);
    EXPECT_EQ(p.y, 2.0f);
    EXPECT_EQ(p.z, 3.0f);
    EXPECT_EQ(p.w, 0.0f);

    // Half a turn about y: moving along the object's own x and z goes the
    // opposite way in the world; y is unchanged.
    t.transform.RotationY(Pi);
    t.SetPosition(10.0f, 0.0f, 10.0f);
    Matrix4 turned = t.transform;
    t.Translate(Vec4(1.0f, 1.0f, 2.0f, 100.0f));
    p = t.GetPosition();
    EXPECT_NEAR(p.x, 9.0f, 1e-5f);
    EXPECT_NEAR(p.y, 1.0f, 1e-5f);
    EXPECT_NEAR(p.z, 8.0f, 1e-5f);
    // Neither moving nor placing touches the rotation block.
    t.SetPosition(-5.0f, -6.0f, -7.0f);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(t.transform.m[4 * r + c], turned.m[4 * r + c]);
    t.Translate(0.0f, 0.0f, 0.0f);
    EXPECT_EQ(t.GetPosition().z, -7.0f);
}

} // namespace
