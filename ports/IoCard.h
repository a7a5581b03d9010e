#pragma once

#include <boost/noncopyable.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "AudioDmaEndpoint.h"
#include "InputPort.h"
#include "OutputPort.h"
#include "SampleRates.h"

namespace TalvoBrindlet {

/// What a router may be told of a card.
struct IoCardInfo {
    std::uint8_t mCardNumber = 0;
    std::string mName;
    std::uint8_t mInputKind = 0;
    std::uint8_t mOutputKind = 0;
    std::uint8_t mInputControlKind = 0;
    std::uint8_t mOutputControlKind = 0;
    std::vector<std::int16_t> mInputPorts;   ///< port ids
    std::vector<std::int16_t> mOutputPorts;  ///< port ids
};

/// An analogue audio card with its ports. Event loop only.
class IoCard : private boost::noncopyable {
  public:
    using Endpoint = std::shared_ptr<audio::AudioDmaEndpoint>;

    /// Capability codes as routers know them. Two of them gate what the box does: phantom power is set only
    /// where the input control kind is 1, the output routing rebuilt only where the output kind is 2.
    struct Kinds {
        std::uint32_t mInput;
        std::uint32_t mInputControl;
        std::uint32_t mOutput;
        std::uint32_t mOutputControl;
    };

    IoCard(std::int16_t firstInputPortId, std::int16_t firstOutputPortId, std::uint32_t cardClass,
           std::int8_t cardNumber, std::string cardName, const Kinds& kinds);
    virtual ~IoCard() = default;

    IoCardInfo GetIoInfo() const;
    virtual std::uint16_t GetNumInputPorts() const = 0;
    virtual std::uint16_t GetNumOutputPorts() const = 0;

    /// The converters as audio endpoints.
    virtual Endpoint GetAdcEndpoint() const = 0;
    virtual Endpoint GetDacEndpoint() const = 0;

    virtual bool SetSampleRate(audio::FrequencyScaler scaler, SampleRates::SystemSampleRates rate) = 0;

    /// Holds the converters in reset, or releases them.
    virtual void SetReset(bool /*on*/) {}
    bool IsInReset() const { return mInReset; }

    void SetCardNumber(std::int16_t number) { mCardNumber = number; }
    std::int16_t CardNumber() const { return mCardNumber; }
    std::int16_t FirstOutputPortId() const { return mFirstOutputPortId; }
    const Kinds& GetKinds() const { return mKinds; }

    /// By channel.
    const std::vector<std::shared_ptr<InputPort>>& InputPorts() const { return mInputPorts; }
    const std::vector<std::shared_ptr<OutputPort>>& OutputPorts() const { return mOutputPorts; }

  protected:
    bool mInReset = false;
    std::int16_t mFirstInputPortId;
    std::int16_t mFirstOutputPortId;
    std::vector<std::shared_ptr<InputPort>> mInputPorts;
    std::vector<std::shared_ptr<OutputPort>> mOutputPorts;

  private:
    [[maybe_unused]] const std::uint32_t mCardClass;
    std::int16_t mCardNumber;
    std::string mCardName;
    Kinds mKinds;
};

}  // namespace TalvoBrindlet
