#pragma once

#include <cstdint>
#include <string>

#include "DeskCommand.h"

// The commands of a router link. Fields stand in wire order; a text beside a field is its name in reports.

/// No endpoint is named.
constexpr std::uint32_t kNoHid = 0xFFFFFFFF;

/// Router to device: asks for IoInfo.
struct IoInfoReq : DeskCommandOf<IoInfoReq, 800> {
    template <class Self, class Visitor>
    static void VisitFields(Self& /*self*/, Visitor& /*visit*/) {}
};

/// Device to router: what device this is.
struct IoInfo : DeskCommandOf<IoInfo, 801> {
    std::uint32_t mHid = 0;
    std::uint8_t mFlags = 0;
    std::string mText1;  ///< the card's model
    std::string mText2;
    std::string mText3;
    std::string mText4;
    std::string mText5;

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("flags", self.mFlags);
        visit("text1", self.mText1);
        visit("text2", self.mText2);
        visit("text3", self.mText3);
        visit("text4", self.mText4);
        visit("text5", self.mText5);
    }
};

/// Router to device: sets an input port.
struct IoSetInputParams : DeskCommandOf<IoSetInputParams, 802> {
    // Which fields are to be applied.
    static constexpr std::uint8_t kEnablePhantomPower = 0x04;
    static constexpr std::uint8_t kEnableGain = 0x01 | 0x08 | 0x20;  ///< any of them
    static constexpr std::uint8_t kEnableImpedance = 0x10;

    std::uint32_t mHid = 0;
    std::uint16_t mPort = 0;
    std::int32_t mGain = 0;  ///< cB
    std::uint8_t mReserved = 0;
    std::uint8_t mPhantomPower = 0;    ///< not 0 is on
    std::int16_t mOperatingLevel = 0;  ///< cB
    std::int16_t mImpedance = 0;
    std::int16_t mMicHeadroom = 0;  ///< cB
    std::uint8_t mEnables = 0;

    /// A router may gather such commands; this one ends a batch.
    void Write(DataStream& stream) const override {
        DeskCommandOf::Write(stream);
        stream.Commit();
    }

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("port", self.mPort);
        visit("gain", self.mGain);
        visit("reserved", self.mReserved);
        visit("phantom_power", self.mPhantomPower);
        visit("operating_level", self.mOperatingLevel);
        visit("impedance", self.mImpedance);
        visit("mic_headroom", self.mMicHeadroom);
        visit("enables", self.mEnables);
    }
};

/// Router to device: the router claims the device.
struct IoActiveRouter : DeskCommandOf<IoActiveRouter, 806> {
    template <class Self, class Visitor>
    static void VisitFields(Self& /*self*/, Visitor& /*visit*/) {}
};

/// Device to router: the link that is active now, 0 primary or 1 secondary.
struct IoActiveAudio : DeskCommandOf<IoActiveAudio, 807> {
    std::uint32_t mHid = 0;
    std::uint16_t mPort = 0;

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("port", self.mPort);
    }
};

/// Router to device: sets an output port's gain.
struct IoSetOutputGain : DeskCommandOf<IoSetOutputGain, 808> {
    std::uint32_t mHid = 0;
    std::uint16_t mPort = 0;
    std::int32_t mGain = 0;  ///< cB

    /// Ends a batch, as IoSetInputParams does.
    void Write(DataStream& stream) const override {
        DeskCommandOf::Write(stream);
        stream.Commit();
    }

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("port", self.mPort);
        visit("gain", self.mGain);
    }
};

/// What one output port plays, in a PortBitmapCmd.
struct PortBitmapEntry {
    std::uint32_t mSrcHid = 0;
    std::uint8_t mRoute = 0;

    template <class AudioPort, class Self, class Visitor>
    static void VisitEntry(AudioPort& audioPort, Self& self, Visitor& visit) {
        visit("audio_port", audioPort);
        visit("src_hid", self.mSrcHid);
        visit("route", self.mRoute);
    }
};

/// Router to device: what each output port is to play.
struct PortBitmapCmd : DeskCommandOf<PortBitmapCmd, 815> {
    std::uint32_t mHid = 0;
    std::uint32_t mFirst = kNoHid;  ///< the first endpoint's HID
    std::uint16_t mFirstPort = 0;
    std::uint32_t mSecond = kNoHid;  ///< the second endpoint's HID
    std::uint16_t mSecondPort = 0;
    KLVMap<std::uint16_t, PortBitmapEntry> mEntries;  ///< by audio port

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("first", self.mFirst);
        visit("first_port", self.mFirstPort);
        visit("second", self.mSecond);
        visit("second_port", self.mSecondPort);
        visit("entries", self.mEntries);
    }
};

/// Router to device: mutes an output port.
struct IoOutputMuteCmd : DeskCommandOf<IoOutputMuteCmd, 816, 1> {
    std::uint32_t mHid = 0;
    std::uint16_t mPort = 0;
    std::uint8_t mMute = 0;  ///< not 0 is muted

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("port", self.mPort);
        visit("mute", self.mMute);
    }
};

/// Device to router: the sample rates that it can do, and the one in force.
struct IoSampleRateCapabilities : DeskCommandOf<IoSampleRateCapabilities, 874> {
    std::uint32_t mHid = 0;
    std::uint32_t mCurrentRate = 0;
    KLVCollection<std::uint32_t> mRates;

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
        visit("current_rate", self.mCurrentRate);
        visit("rates", self.mRates);
    }
};

/// Router to device: sets the sample rate.
struct IoSetSampleRateCmd : DeskCommandOf<IoSetSampleRateCmd, 875> {
    std::uint8_t mRate = 0;
    std::uint32_t mParameter = 0;
    std::uint32_t mWaitMs = 0;

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("rate", self.mRate);
        visit("parameter", self.mParameter);
        visit("wait_ms", self.mWaitMs);
    }
};

/// Router to device: the link that this comes by is active now.
struct IoSyncSwap : DeskCommandOf<IoSyncSwap, 891> {
    std::uint32_t mHid = 0;

    template <class Self, class Visitor>
    static void VisitFields(Self& self, Visitor& visit) {
        visit("hid", self.mHid);
    }
};

/// Router to device: the router gives the device up.
struct IoSyncFail : DeskCommandOf<IoSyncFail, 892> {
    template <class Self, class Visitor>
    static void VisitFields(Self& /*self*/, Visitor& /*visit*/) {}
};
