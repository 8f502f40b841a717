#include <gtest/gtest.h>

#include <algorithm>

#include "audio/AudioMixerSingleRoute.h"
#include "devices/M23664_Soc.h"
#include "devices/SdiCableEqInterface.h"
#include "interfaces/Spi_Soc.h"
#include "log/Log.h"
#include "modules/VideoCrosspoint.h"
#include "sim/Board.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioMixerModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "support/Accesses.h"
#include "top/TopFpga.h"

namespace {

constexpr const char* kMixerThread = "AudioMixer.cpp:_ProgramCoeffsThread";

// A reader of the log knows the operations, not the helpers below them.
TEST(LogOrigin, RecordsNameTheOperation) {
  MeanStrayAccesses();
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  TopFpgaImpl fpga(4);
  AudioPathFacade& audio = fpga.GetAudioPathFacade();
  InputAudioPathFacade& input = *audio.GetInputAudioPathFacadeAtIndex(0);
  for (const int mixer : {0, 1}) {  // the main one and the input's: every channel gets its route
    audio.GetMixer(mixer)->UpdateSourceControl(0, 0, {});
  }
  input.HandleInputVideoTypeChange(0, 15);
  BitfieldManager fields("fields", 0x3A00000);
  fields.AddBitfield("odd", 0x3A00002, 0, 1);
  fields.AddBitfield("bit", 0x3A00000, 0, 1);
  VideoCrosspointImpl matrix("matrix", 0x3B00000, 0x1000, 4, 5, 2, {2, 3}, 0, 0);
  AudioMixerSingleRoute route;
  Spi_Soc spi;
  (void)spi.Initialize("/dev/spidev1.0");
  SdiCableEqInterface equalisers;
  (void)equalisers.Initialize(&spi, {.mode = 1, .bitsPerWord = 8, .speedHz = 5'000'000});
  equalisers.AddDevice(new M23664_Soc);
  std::uint8_t byte = 0;
  float gain = 0;
  std::vector<std::uint16_t> words{1};
  fpga.GetIrqHandler().UnmaskIrq(200);
  board.log.Clear();

  fields.ReadBitfield("odd");
  fields.WriteBitfield("odd", 0);
  fields.WriteBitfield("bit", 2);
  EXPECT_THROW(fields.WriteBitfield("none", 0), std::invalid_argument);
  (void)matrix.SetRouteSingle(0, 0, 1, 3, true);
  (void)matrix.SetOutputDisableSingle(0, 2, 0, true, true);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(200);
  fpga.GetIrqHandler().PollIrq();
  board.Core<sim::AudioDelayModel>("in_aud_0_audio_delay")
      .SetWord(0x1C, 0xFFFF00F7);  // all errors but those that restart
  (void)input.GetDelay().CheckErrors();
  board.Core<sim::AudioDeembedderModel>("in_aud_0_deemb")
      .Raise(sim::AudioDeembedderModel::Error::kFull, 1);
  input.GetDeembedder().CheckErrors();
  board.Core<sim::AudioDeembedderModel>("in_aud_0_deemb").Plug(0, {.burstType = 28, .line = 11});
  input.GetDeembedder().UpdatePairTypes();
  (void)route.GetLink(0, &byte);
  (void)route.GetChannel(0, &byte);
  (void)route.GetLinearGain(0, &gain);
  (void)input.GetMixer().GetLinkAtDest(1, 0);
  (void)input.GetMixer().GetChAtDest(0, 16);
  equalisers.DoRequiredSetup();
  board.settings.equaliserSpiFault = sim::SpiFault::kMode;
  (void)equalisers.SetOutputEnable(0, true);
  (void)spi.Transmit16(words, {});

  std::vector<std::string> origins;  // one after the other, the mixers' threads aside
  for (const sim::LogRecord& record : board.log.All()) {
    const std::string origin = record.text.substr(0, record.text.find('('));
    if (origin != kMixerThread && (origins.empty() || origins.back() != origin)) {
      origins.push_back(origin);
    }
  }
  EXPECT_EQ(origins,
            (std::vector<std::string>{"FpgaCsrAccess.h:Read",
                                      "FpgaCsrAccess.h:Write",
                                      "BitfieldManager.h:GetBitfield",
                                      "VideoCrosspoint.cpp:SetRouteSingle",
                                      "VideoCrosspoint.cpp:SetOutputDisableSingle",
                                      "IrqHandler.cpp:PollIrq",
                                      "AudioDelay.cpp:CheckErrors",
                                      "AudioDeembedder.cpp:CheckErrors",
                                      "AudioPathFacadeImpl.cpp:_HandleEmbedderAudioTypeChange",
                                      "AesTx.cpp:OnAudioTypeChange",
                                      "AudioDelayDriverControl.cpp:UpdateAudioChannelChange",
                                      "AudioMixerRoute.cpp:GetLink",
                                      "AudioMixerRoute.cpp:GetChannel",
                                      "AudioMixerSingleRoute.cpp:GetLinearGain",
                                      "AudioMixerDriverControl.cpp:GetLinkAtDest",
                                      "AudioMixerDriverControl.cpp:GetChAtDest",
                                      "SdiCableEqInterface.cpp:_ReadRegFromAll",
                                      "SdiCableEqInterface.cpp:DoRequiredSetup",
                                      "Spi_Soc.cpp:_Setup",
                                      "Spi_Soc.cpp:TransmitAndReceive",
                                      "SdiCableEqInterface.cpp:_WriteRegToOne",
                                      "Spi_Soc.cpp:_Setup16",
                                      "Spi_Soc.cpp:Transmit16"}));

  SetLogLevel(kLogDebug);
  board.log.Clear();
  audio.GetMixer(0)->UpdateSourceControl(0, 0, {.srcIndex = 0x35});
  ASSERT_TRUE(board.Core<sim::AudioMixerModel>("out_aud_mixer").AwaitCoeff(0, 0x35'010000));
  const auto records = board.log.All();
  EXPECT_GE(std::count_if(records.begin(), records.end(),
                          [](const sim::LogRecord& record) {
                            return record.text.find(" gets ") != std::string::npos &&
                                   record.text.starts_with(kMixerThread);
                          }),
            17 * 256 + 16);
}

}  // namespace
