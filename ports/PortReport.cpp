#include "PortReport.h"

#include <array>
#include <iomanip>
#include <sstream>

#include "IoCard.h"

namespace TalvoBrindlet {

namespace {

constexpr int kCardWidth = 5;
constexpr int kColumnWidth = 12;

const char* UsageText(PortUsage usage) {
    constexpr std::array<const char*, 3> kTexts{{"T2 Pri", "T2 Sec", "No Link"}};
    const auto index = static_cast<std::size_t>(usage);
    return index < kTexts.size() ? kTexts[index] : "No usage";
}

template <class... Values>
void AddRow(std::ostream& report, const Values&... values) {
    ((report << std::setw(kColumnWidth) << values), ...);
    report << '\n';
}

}  // namespace

std::string PortReport(const IoCard& card) {
    std::ostringstream report;
    report << std::left << std::setw(kCardWidth) << "Card " << card.CardNumber() << '\n';
    report << "========\nInputs:\n-------\n";
    AddRow(report, "Port", "Ph Pwr", "AGain(cB)", "DGain(cB)");
    for (const auto& port : card.InputPorts()) {
        AddRow(report, port->PortId(), port->GetPhantomPower() ? "On" : "Off", port->GetAnalogueGain(),
               port->GetDigitalGain());
    }
    report << "Outputs:\n--------\n";
    AddRow(report, "Port", "Usage", "Mute Type", "Mute Status", "Gain(cB)");
    for (const auto& port : card.OutputPorts()) {
        AddRow(report, port->PortId(), UsageText(port->Usage()),
               port->IsHardwareMute() ? "HW Mute" : "SW Mute", port->GetMute() ? "Muted  " : "Unmuted",
               port->GetGain());
    }
    return report.str();
}

}  // namespace TalvoBrindlet
