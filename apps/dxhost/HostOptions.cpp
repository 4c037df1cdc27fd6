#include "apps/dxhost/HostOptions.h"

#include <charconv>
#include <string_view>

#include "hvBase/Util/Text.h"

namespace DxHost {

namespace {

constexpr std::uint32_t kLongestBlock = 1u << 20;

template <class Number>
Number ParseNumber(const std::string& strOption, std::string_view text, Number least, Number most) {
    Number value{};
    const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || last != text.data() + text.size() || !(value >= least) || !(value <= most))
        throw UsageError(Util::Format("%1: \"%2\" is no number in its range", strOption, text));
    return value;
}

double ParseSeconds(const std::string& strOption, std::string_view text) {
    return ParseNumber(strOption, text, -1e9, 1e9);
}

std::vector<std::string> Split(std::string_view text, char cSeparator) {
    std::vector<std::string> pieces;
    for (;;) {
        const std::size_t uEnd = text.find(cSeparator);
        pieces.emplace_back(text.substr(0, uEnd));
        if (uEnd == std::string_view::npos) return pieces;
        text.remove_prefix(uEnd + 1);
    }
}

std::vector<std::uint32_t> ParseBlocks(const std::string& strOption, const std::string& strText) {
    std::vector<std::uint32_t> blocks;
    for (const std::string& strPiece : Split(strText, ','))
        blocks.push_back(ParseNumber(strOption, strPiece, 1u, kLongestBlock));
    return blocks;
}

HostOptions::Setting ParseSetting(const std::string& strOption, const std::string& strText) {
    const std::size_t uEqual = strText.find('=');
    if (uEqual == std::string::npos)
        throw UsageError(Util::Format("%1: \"%2\" is not NAME=VALUE", strOption, strText));
    return {strText.substr(0, uEqual), strText.substr(uEqual + 1)};
}

MP_CURVE_TYPE ParseCurve(const std::string& strOption, const std::string& strText) {
    if (strText == "jump") return MP_CURVE_JUMP;
    if (strText == "linear") return MP_CURVE_LINEAR;
    if (strText == "square") return MP_CURVE_SQUARE;
    if (strText == "inverse-square") return MP_CURVE_INVSQUARE;
    throw UsageError(Util::Format("%1: \"%2\" is no curve", strOption, strText));
}

HostOptions::Envelope ParseEnvelope(const std::string& strOption, const std::string& strText) {
    const auto pieces = Split(strText, ',');
    if (pieces.size() != 6)
        throw UsageError(Util::Format("%1: \"%2\" is not NAME,CURVE,START,END,FROM,TO", strOption, strText));
    const auto value = [&](std::size_t i) { return ParseNumber(strOption, pieces[i], -1e30f, 1e30f); };
    return {pieces[0],
            {ParseSeconds(strOption, pieces[2]), ParseSeconds(strOption, pieces[3]), value(4), value(5),
             ParseCurve(strOption, pieces[1])}};
}

HostOptions::Stretch ParseStretch(const std::string& strOption, const std::string& strText) {
    const auto pieces = Split(strText, ',');
    if (pieces.size() != 3)
        throw UsageError(Util::Format("%1: \"%2\" is not NAME,START,END", strOption, strText));
    return {pieces[0], ParseSeconds(strOption, pieces[1]), ParseSeconds(strOption, pieces[2])};
}

/// An option without a value; false for any other.
bool TakeFlag(HostOptions& options, const std::string& strOption) {
    if (strOption == "--mono-to-stereo") {
        options.bMonoToStereo = true;
    } else if (strOption == "--no-times") {
        options.bTimes = false;
    } else if (strOption == "--media-times") {
        options.bMediaTimes = true;
    } else if (strOption == "--no-eos-flush") {
        options.bEndOfStream = false;
    } else if (strOption == "--no-compensation") {
        options.bCompensation = false;
    } else if (strOption == "--list") {
        options.bList = true;
    } else {
        return false;
    }
    return true;
}

void TakeValue(HostOptions& options, const std::string& strOption, const std::string& strValue) {
    if (strOption == "--dll") {
        options.strModule = strValue;
    } else if (strOption == "--state") {
        options.strState = strValue;
    } else if (strOption == "--save-state") {
        options.strSaveState = strValue;
    } else if (strOption == "--expect") {
        options.strExpected = strValue;
    } else if (strOption == "--format") {
        options.strFormat = strValue;
    } else if (strOption == "--buffer") {
        options.blocks = ParseBlocks(strOption, strValue);
    } else if (strOption == "--output-buffer") {
        options.nOutputBuffer = ParseNumber(strOption, strValue, 1l, 1l << 24);
    } else if (strOption == "--start") {
        options.fStart = ParseSeconds(strOption, strValue);
    } else if (strOption == "--seek") {
        options.seek = ParseSeconds(strOption, strValue);
    } else if (strOption == "--stop-after") {
        options.stopAfter = ParseNumber<std::uint64_t>(strOption, strValue, 1, UINT64_MAX);
    } else if (strOption == "--set") {
        options.settings.push_back(ParseSetting(strOption, strValue));
    } else if (strOption == "--envelope") {
        options.envelopes.push_back(ParseEnvelope(strOption, strValue));
    } else if (strOption == "--flush") {
        options.flushes.push_back(ParseStretch(strOption, strValue));
    } else {
        throw UsageError(Util::Format("%1: there is no such option", strOption));
    }
}

}  // namespace

HostOptions ParseOptions(const std::vector<std::string>& arguments) {
    HostOptions options;
    std::vector<std::string> files;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& strArgument = arguments[i];
        if (!strArgument.starts_with("--")) {
            files.push_back(strArgument);
        } else if (!TakeFlag(options, strArgument)) {
            if (i + 1 == arguments.size())
                throw UsageError(Util::Format("%1: a value is missing", strArgument));
            TakeValue(options, strArgument, arguments[++i]);
        }
    }
    if (files.size() > 2) throw UsageError(Util::Format("%1: one file too many", files[2]));
    if (files.empty() && !options.bList && options.strSaveState.empty())
        throw UsageError("the input file is missing");
    if (!files.empty()) options.strInput = files[0];
    if (files.size() > 1) options.strOutput = files[1];
    return options;
}

const char* UsageText() {
    return "dxhost [IN.wav [OUT.wav]] [options]\n"
           "Plays a WAV file through the plug-in in a filter graph, and keeps what comes out.\n"
           "  --dll FILE            load the plug-in from its file; else the registered class\n"
           "  --state FILE          give the plug-in a state before streaming\n"
           "  --save-state FILE     write its state as it stands after all settings\n"
           "  --set NAME=VALUE      set a parameter; may repeat. VALUE: a label, on, off or a number\n"
           "  --envelope NAME,CURVE,START,END,FROM,TO\n"
           "                        automate; seconds; jump, linear, square, inverse-square; may repeat\n"
           "  --flush NAME,START,END\n"
           "                        take envelopes away again; may repeat\n"
           "  --list                print the parameters that may be automated\n"
           "  --format F            convert the input first: u8, s16, s24, s32, f32 or f64\n"
           "  --buffer N[,N...]     frames of the host's buffers, used in turn (512)\n"
           "  --output-buffer N     bytes of the buffers that the sink gives\n"
           "  --mono-to-stereo      a mono file into a stereo output\n"
           "  --no-compensation     the user's preference: keep the chain's delay at the head of the output\n"
           "  --start SECONDS       time stamp of the first frame (0)\n"
           "  --no-times            no time stamps\n"
           "  --media-times         media times as well\n"
           "  --seek SECONDS        begin at this place of the file\n"
           "  --stop-after FRAMES   stop in the middle, once so many frames came out\n"
           "  --no-eos-flush        stop after the last frame without an end of stream\n"
           "  --expect FILE.wav     compare the samples with this file's; exit code 1 if they differ\n"
           "Exit codes: 0 done, 1 something failed or differs, 2 the command line is wrong.\n";
}

}  // namespace DxHost
