#include "audio/AudioChannelInfo.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using enum AudioChannelInfo::AudioType;

TEST(AudioChannelInfo, NotifiesInOrderOfEveryChangeAndOfNothingElse) {
  AudioChannelInfo info(Pcm);
  std::string seen;
  const int owners[2]{};
  info.AddCallback(nullptr, nullptr);
  info.AddCallback(
      [&] {
        seen += std::to_string(static_cast<int>(info.GetAudioType())) +
                std::to_string(info.GetLink()) + std::to_string(info.GetChannel());
      },
      &owners[0]);
  info.AddCallback([&] { seen += "b"; }, nullptr);
  info.AddCallback([&] { seen += "c"; }, &owners[1]);
  info.AddCallback([&] { seen += "d "; }, &owners[0]);
  info.RemoveCallback(nullptr);
  info.SetAudioType(Pcm);
  info.SetLink(0);
  info.SetChannel(0);
  EXPECT_EQ(seen, "");
  info.SetAudioType(DolbyE);
  info.SetLink(4);
  info.SetChannel(9);
  info.SetAudioType(Pcm);
  info.RemoveCallback(&owners[0]);
  info.SetLink(1);
  EXPECT_EQ(seen, "100bcd 140bcd 149bcd 049bcd bc");
}

TEST(AudioTypeOfBurst, KnowsThreeDataTypes) {
  EXPECT_EQ(AudioTypeOfBurst(28), DolbyE);
  EXPECT_EQ(AudioTypeOfBurst(1), Ac3);
  EXPECT_EQ(AudioTypeOfBurst(16), Eac3);
  EXPECT_EQ(AudioTypeOfBurst(0), OtherNonPcm);
  EXPECT_EQ(AudioTypeOfBurst(31), OtherNonPcm);
}

}  // namespace
