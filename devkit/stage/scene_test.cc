#include "devkit/stage/scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talu {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string Parse(std::vector<std::string> arguments, Scene& scene) {
  scene = {};
  return ParseScene(arguments, scene);
}

TEST(Scene, EveryKeyReachesItsField) {
  Scene scene;
  ASSERT_THAT(Parse({"--edit", "x=-1024,y=-5,w=300,h=40,file=Z:\\tmp\\a.txt,title=Note,text=hi",
                     "--moving", "fps=30", "--cursor", "cursor=mono,colour=00Ff7f"},
                    scene),
              IsEmpty());
  ASSERT_THAT(scene.actors, SizeIs(3));
  const Actor& edit = scene.actors[0];
  EXPECT_EQ(edit.kind, ActorKind::kEdit);
  EXPECT_EQ(edit.x, -1024);
  EXPECT_EQ(edit.y, -5);
  EXPECT_EQ(edit.width, 300);
  EXPECT_EQ(edit.height, 40);
  EXPECT_EQ(edit.file, "Z:\\tmp\\a.txt");
  EXPECT_EQ(edit.title, "Note");
  EXPECT_EQ(edit.text, "hi");
  EXPECT_EQ(scene.actors[1].fps, 30);
  EXPECT_EQ(scene.actors[2].cursor, "mono");
  EXPECT_EQ(scene.actors[2].colour, 0x00ff7fu);
}

TEST(Scene, AnEscapedCommaStaysInTheValue) {
  Scene scene;
  ASSERT_THAT(Parse({"--solid", "title=a\\,b\\c,x=1"}, scene), IsEmpty());
  EXPECT_EQ(scene.actors[0].title, "a,b\\c");
  EXPECT_EQ(scene.actors[0].x, 1);
}

TEST(Scene, WhatIsWrongIsSaid) {
  Scene scene;
  EXPECT_THAT(Parse({}, scene), HasSubstr("nothing to show"));
  EXPECT_THAT(Parse({"--dancer", "x=1"}, scene), HasSubstr("--dancer"));
  EXPECT_THAT(Parse({"--solid"}, scene), HasSubstr("needs its settings"));
  EXPECT_THAT(Parse({"--edit", "x=1"}, scene), HasSubstr("file="));
  EXPECT_THAT(Parse({"--target", "x=1"}, scene), HasSubstr("file="));
  for (const char* part : {"x", "x=", "x=1a", "x=40000", "w=0", "fps=0", "fps=241", "times=2",
                           "colour=fff", "colour=fffffg", "cursor=mouse", "size=3", ""}) {
    EXPECT_THAT(Parse({"--solid", part}, scene), HasSubstr("no setting: '" + std::string(part)));
  }
}

TEST(Bounce, GoesThereAndBack) {
  EXPECT_EQ(Bounce(0, 3), 0);
  EXPECT_EQ(Bounce(3, 3), 3);
  EXPECT_EQ(Bounce(4, 3), 2);
  EXPECT_EQ(Bounce(6, 3), 0);
  EXPECT_EQ(Bounce(7, 3), 1);
  EXPECT_EQ(Bounce(5, 0), 0);
  EXPECT_EQ(Bounce(5, -4), 0);
}

}  // namespace
}  // namespace talu
