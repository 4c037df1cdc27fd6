#include "apps/vesca/AutomationFile.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <nlohmann/json.hpp>

#include "apps/vesca/CommandError.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

using Json = nlohmann::json;

constexpr double kTicksPerSecond = 10'000'000.0;
constexpr double kMostSeconds = 1e9;
constexpr int kMostNesting = 8;

struct NamedCurve {
    std::string_view name;
    EnvelopeCurve curve;
};
constexpr NamedCurve kCurves[] = {{"jump", EnvelopeCurve::Jump},
                                  {"linear", EnvelopeCurve::Linear},
                                  {"square", EnvelopeCurve::Square},
                                  {"inverse-square", EnvelopeCurve::InverseSquare}};

/// Where in the file the reading stands, for messages.
struct Place {
    std::string strFile;
    std::string strEntry;

    [[noreturn]] void Fail(const std::string& strReason) const {
        throw FileFailure(Util::Format("%1: %2: %3", strFile, strEntry, strReason));
    }
};

/// An object with exactly these members: a misspelt one would otherwise pass unheard.
void RequireMembers(const Place& place, const Json& object, std::initializer_list<const char*> names) {
    if (!object.is_object()) place.Fail("expected an object in braces");
    for (const char* name : names)
        if (!object.contains(name)) place.Fail(Util::Format("\"%1\" is missing", name));
    for (const auto& [strKey, value] : object.items()) {
        if (std::find(names.begin(), names.end(), strKey) == names.end())
            place.Fail(Util::Format("\"%1\" is unknown", strKey));
    }
}

std::int64_t ReadTime(const Place& place, const Json& segment, const char* name) {
    const Json& time = segment.at(name);
    if (!time.is_number()) place.Fail(Util::Format("\"%1\" is no number of seconds", name));
    const double fSeconds = time.get<double>();
    if (!(std::abs(fSeconds) <= kMostSeconds)) place.Fail(Util::Format("\"%1\" is beyond 1e9 s", name));
    return std::llround(fSeconds * kTicksPerSecond);
}

float ReadValue(const Place& place, const Json& segment, const char* name, const ParameterRef& parameter,
                std::vector<std::string>& warnings) {
    const Json& value = segment.at(name);
    std::optional<double> number;
    if (value.is_number()) number = value.get<double>();
    if (value.is_boolean() && parameter.Group() == ParameterGroup::Bool) number = value.get<bool>() ? 1 : 0;
    if (value.is_string()) number = ParseValue(parameter, value.get<std::string>());
    if (!number || !std::isfinite(*number) || !std::isfinite(static_cast<float>(*number)))
        place.Fail(Util::Format("\"%1\": %2 is no value of \"%3\"", name, value.dump(), parameter.Name()));
    if (!IsInRange(parameter, *number)) {
        warnings.push_back(Util::Format("%1: %2: \"%3\": %4 is out of range (%5) and is clamped",
                                        place.strFile, place.strEntry, name, value.dump(),
                                        RangeText(parameter)));
    }
    return static_cast<float>(*number);
}

EnvelopeCurve ReadCurve(const Place& place, const Json& segment) {
    const Json& curve = segment.at("curve");
    for (const NamedCurve& known : kCurves)
        if (curve.is_string() && curve.get_ref<const std::string&>() == known.name) return known.curve;
    place.Fail(Util::Format(
        "%1 is no curve; the curves are \"jump\", \"linear\", \"square\", \"inverse-square\"", curve.dump()));
}

EnvelopeSegment ReadSegment(const Place& place, const Json& json, const ParameterRef& parameter,
                            std::vector<std::string>& warnings) {
    RequireMembers(place, json, {"start", "end", "from", "to", "curve"});
    EnvelopeSegment segment;
    segment.nStart = ReadTime(place, json, "start");
    segment.nEnd = ReadTime(place, json, "end");
    if (segment.nEnd < segment.nStart) place.Fail("\"end\" is before \"start\"");
    segment.fStart = ReadValue(place, json, "from", parameter, warnings);
    segment.fEnd = ReadValue(place, json, "to", parameter, warnings);
    segment.curve = ReadCurve(place, json);
    return segment;
}

AutomationTrack ReadTrack(const Place& place, const Json& json, const ParameterIndex& parameters,
                          std::vector<std::string>& warnings) {
    RequireMembers(place, json, {"parameter", "segments"});
    if (!json.at("parameter").is_string()) place.Fail("\"parameter\" is no name");
    if (!json.at("segments").is_array()) place.Fail("\"segments\" is no list");

    const std::string strOption = Util::Format("--automation %1", place.strFile);
    const std::string strName = json.at("parameter").get<std::string>();
    AutomationTrack track{parameters.Require(strName, strOption), {}};
    if (!track.parameter.Info().bAutomatable)
        throw UsageError(Util::Format("%1: \"%2\" can't be automated", strOption, strName));
    std::size_t uSegment = 0;
    for (const Json& segment : json.at("segments")) {
        const Place here{place.strFile, Util::Format("\"%1\", segment %2", strName, ++uSegment)};
        track.segments.push_back(ReadSegment(here, segment, track.parameter, warnings));
    }
    return track;
}

Json ParseJson(std::string_view json, const std::string& strFile) {
    // Messages quote wrong values, and the library prints nested ones by recursion.
    const auto checkDepth = [&](int nDepth, Json::parse_event_t, const Json&) {
        if (nDepth > kMostNesting)
            throw FileFailure(Util::Format("%1: nested more than %2 levels deep", strFile, kMostNesting));
        return true;
    };
    try {
        return Json::parse(json, checkDepth);
    } catch (const Json::exception& error) {
        // The library's own text begins with its name for the error in brackets.
        const std::string strWhat = error.what();
        const std::size_t uBracket = strWhat.find("] ");
        throw FileFailure(
            Util::Format("%1: not JSON: %2", strFile,
                         uBracket == std::string::npos ? strWhat : strWhat.substr(uBracket + 2)));
    }
}

}  // namespace

std::vector<AutomationTrack> ParseAutomation(std::string_view json, const std::string& strFile,
                                             const ParameterIndex& parameters,
                                             std::vector<std::string>& warnings) {
    const Json document = ParseJson(json, strFile);
    if (!document.is_array()) Place{strFile, "the document"}.Fail("expected a list in brackets");
    std::vector<AutomationTrack> tracks;
    for (const Json& entry : document) {
        const Place place{strFile, Util::Format("entry %1", tracks.size() + 1)};
        tracks.push_back(ReadTrack(place, entry, parameters, warnings));
    }
    return tracks;
}

void InstallAutomation(const std::vector<AutomationTrack>& tracks) {
    for (const auto& [parameter, segments] : tracks) {
        Component& owner = parameter.Owner();
        owner.Envelopes().AddSegments(parameter.Group(), parameter.Index(), segments);
        owner.SetAutomationActive(owner.HasAutomation());
    }
}

}  // namespace App
