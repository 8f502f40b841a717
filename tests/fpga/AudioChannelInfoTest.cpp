#include "audio/AudioChannelInfo.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using enum AudioChannelInfo::AudioType;

TEST(AudioChannelInfo, NotifiesOfEveryChangeAndOfNothingElse) {
  AudioChannelInfo info(Pcm);
  std::string seen;
  const auto see = [&] {
    seen += std::to_string(static_cast<int>(info.GetAudioType())) + std::to_string(info.GetLink()) +
            std::to_string(info.GetChannel()) + " ";
  };
  info.AddCallback(nullptr, nullptr);
  info.AddCallback(see, nullptr);
  info.SetAudioType(Pcm);
  info.SetLink(0);
  info.SetChannel(0);
  EXPECT_EQ(seen, "");
  info.SetAudioType(DolbyE);
  info.SetLink(4);
  info.SetChannel(9);
  info.SetAudioType(Pcm);
  EXPECT_EQ(seen, "100 140 149 049 ");
}

TEST(AudioChannelInfo, CallbacksKeepTheirOrderAndGoWithTheirOwner) {
  AudioChannelInfo info(Pcm);
  std::string calls;
  const int owners[2]{};
  info.AddCallback([&] { calls += "a"; }, &owners[0]);
  info.AddCallback([&] { calls += "b"; }, nullptr);
  info.AddCallback([&] { calls += "c"; }, &owners[1]);
  info.AddCallback([&] { calls += "d"; }, &owners[0]);
  info.RemoveCallback(nullptr);
  info.SetLink(1);
  EXPECT_EQ(calls, "abcd");
  info.RemoveCallback(&owners[0]);
  info.SetLink(2);
  EXPECT_EQ(calls, "abcdbc");
}

TEST(AudioTypeOfBurst, KnowsThreeDataTypes) {
  EXPECT_EQ(AudioTypeOfBurst(28), DolbyE);
  EXPECT_EQ(AudioTypeOfBurst(1), Ac3);
  EXPECT_EQ(AudioTypeOfBurst(16), Eac3);
  EXPECT_EQ(AudioTypeOfBurst(0), OtherNonPcm);
  EXPECT_EQ(AudioTypeOfBurst(31), OtherNonPcm);
}

}  // namespace
