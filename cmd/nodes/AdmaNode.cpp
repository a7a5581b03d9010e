#include "AdmaNode.h"

#include <utility>
#include <vector>

#include "ActionN.h"
#include "AdmaReports.h"
#include "AudioDmaManager.h"
#include "Parser.h"
#include "SampleRanges.h"

namespace cmd {

namespace {

using action::MakeAction;
using parser::BadCommandArg;

constexpr const char* kName = "adma";

std::vector<std::uint16_t> SampleWords(const std::string& text, const std::string& name,
                                       const audio::AudioDmaEndpoint& endpoint) {
    std::vector<std::uint16_t> words = ParseSampleRanges(text, endpoint);
    if (words.empty()) {
        throw BadCommandArg("Error: '" + text + "' is not valid for '" + name + "'");
    }
    return words;
}

}  // namespace

AdmaNode::AdmaNode(std::shared_ptr<audio::AudioDmaManager> manager) : Node(""), mManager(std::move(manager)) {
    AddReports();
    AddPatching();
    AddHandshake();
}

void AdmaNode::AddReports() {
    AddAction(
        kName,
        {MakeAction(
             "status", [this] { return adma::RouteReport(*mManager); },
             "Show the current (or pending if not yet sync'd) audio routes."),
         MakeAction(
             "transactions",
             [this](unsigned from, unsigned to) { return adma::TransactionReport(*mManager, from, to); },
             "Show the requested portion of the transaction table. Indices start at zero.It isn't possible "
             "to "
             "read the table from hardware: this is the application's\nlast known sync state with the "
             "FSI.\n\n"
             "Each transaction is a 32 bit value with source and destination positioned so:\n"
             " [08:00] - DST sample \n [11:09] - DST address\n [20:12] - SRC sample \n [23:21] - SRC "
             "address\n"
             " [31:24] - Unused"),
         MakeAction(
             "links", [this] { return adma::LinkReport(*mManager); },
             "List all ADMA endpoints (valid 'patch' inputs) and their associated id.The transaction range "
             "values can be passed to 'adma/transactions' to see current transaction values.")});
}

void AdmaNode::AddPatching() {
    AddAction(
        kName,
        {MakeAction(
             "patch", [this](const std::string& source, const std::string& sink) { Patch(source, sink); },
             "Patch audio routes between SRC and SNK. Changes are synchronised immediately. Use 'adma/links' "
             "to "
             "list valid SRC and SNK values."),
         MakeAction(
             "patch2",
             [this](const std::string& source, const std::string& sourceRanges, const std::string& sink,
                    const std::string& sinkRanges) { PatchSamples(source, sourceRanges, sink, sinkRanges); },
             "Patch audio routes between SRCs and SNKs.The sample ranges can be specified as:\n"
             " - A comma-separated list: 0,1,2,3,4,5\n - An inclusive range:     10-15\n"
             " - A combination of both:  20,21,30-40,90,91\n"
             "Example routing the first 10 samples of 't1' to the first 10 of 't2':\n t1 0-9 t2 0-9\n"
             "The number of sources and sinks must match (note duplicates are ignored and the\n"
             "given order must be ascending).\n"
             "Changes are synchronised immediately. Use 'adma/links' to list valid SRC and SNK\nvalues."),
         MakeAction(
             "clear_from", [this](const std::string& source) { ClearFrom(source); },
             "Clear audio routed from SRC. Changes are synchronised immediately. Use 'adma/links' to list "
             "valid "
             "SRC values."),
         MakeAction(
             "clear_to", [this](const std::string& sink) { ClearTo(sink); },
             "Clear audio routed to SNK. Changes are synchronised immediately. Use 'adma/links' to list "
             "valid "
             "SNK values."),
         MakeAction(
             "clear_all", [this] { ClearAll(); },
             "Clear all active audio routes. Changes are synchronised immediately.\n"
             "This causes silence to be transmitted to all channels of all registered SNK endpoints.")});
}

void AdmaNode::AddHandshake() {
    AddAction(
        kName,
        {MakeAction(
             "reset_fsi", [this] { mManager->ResetFsi(); },
             "Reset the FSI ADMA table. Changes are synchronised immediately.\n\n"
             "Note: This bypasses the ADMA manager, directly forcing zero as every transaction table entry.\n"
             "      The manager's source transactions are then cleared, as if calling clear_all."),
         MakeAction(
             "sync", [this] { mManager->Sync(); }, "Re-send the current transaction state to the FSI."),
         MakeAction(
             "sync_ack", [this] { mManager->Fsi().ClearSync(); },
             "Simulate receipt of the 'end of sync' interrupt from the FSI"),
         MakeAction(
             "syncing", [this] { return std::string(mManager->Fsi().IsSyncing() ? "true" : "false"); },
             "Whether a sync operation is in progress."),
         MakeAction(
             "mute", [this](bool mute) { mManager->Fsi().SetMute(mute); },
             "Force, or clear, software audio mute."),
         MakeAction(
             "mute_on_pll_loss", [this](bool mute) { mManager->Fsi().SetMuteOnPllLoss(mute); },
             "Whether the loss of PLL lock should mute the audio. True by default.")});
}

AdmaNode::Endpoint AdmaNode::Source(const std::string& name) const {
    Endpoint endpoint = mManager->Find(name);
    if (endpoint == nullptr || !endpoint->IsSource()) {
        throw BadCommandArg("Error: Unknown or invalid source '" + name + "'");
    }
    return endpoint;
}

AdmaNode::Endpoint AdmaNode::Sink(const std::string& name) const {
    Endpoint endpoint = mManager->Find(name);
    if (endpoint == nullptr || !endpoint->IsSink()) {
        throw BadCommandArg("Error: Unknown or invalid sink '" + name + "'");
    }
    return endpoint;
}

void AdmaNode::Patch(const std::string& source, const std::string& sink) {
    const Endpoint from = Source(source);
    const Endpoint to = Sink(sink);
    mManager->ApplyRoute(*from, *to, {});
    mManager->Sync();
}

void AdmaNode::PatchSamples(const std::string& source, const std::string& sourceRanges,
                            const std::string& sink, const std::string& sinkRanges) {
    const Endpoint from = Source(source);
    const Endpoint to = Sink(sink);
    const std::vector<std::uint16_t> sourceWords = SampleWords(sourceRanges, source, *from);
    const std::vector<std::uint16_t> sinkWords = SampleWords(sinkRanges, sink, *to);
    if (sourceWords.size() != sinkWords.size()) {
        throw BadCommandArg("Error: Source and sink sizes must match: " + std::to_string(sourceWords.size()) +
                            " sources and " + std::to_string(sinkWords.size()) + " sinks requested");
    }
    mManager->SetSources(sinkWords, sourceWords);
    mManager->Sync();
}

void AdmaNode::ClearFrom(const std::string& source) {
    mManager->ClearSourcesFrom(*Source(source));
    mManager->Sync();
}

void AdmaNode::ClearTo(const std::string& sink) {
    const std::vector<std::uint16_t>& words = Sink(sink)->SinkWords();
    mManager->SetSources(words, std::vector<std::uint16_t>(words.size(), 0));
    mManager->Sync();
}

void AdmaNode::ClearAll() {
    mManager->ClearSources();
    mManager->Sync();
}

}  // namespace cmd
