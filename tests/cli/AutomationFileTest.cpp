#include "apps/vesca/AutomationFile.h"

#include <doctest/doctest.h>

#include "apps/vesca/CommandError.h"
#include "tests/support/TestPlugin.h"

namespace {

struct Reader {
    Test::TestPlugin plugin;
    App::ParameterIndex parameters{plugin.Components()};
    std::vector<std::string> warnings;

    auto Parse(const std::string& strJson) {
        return App::ParseAutomation(strJson, "curve.json", parameters, warnings);
    }
    /// One segment of "Gain: Input Left" with some members replaced.
    auto ParseSegment(const std::string& strSegment) {
        return Parse(R"([{"parameter": "Gain: Input Left", "segments": [)" + strSegment + "]}]");
    }
    std::string FileError(const std::string& strJson) {
        try {
            Parse(strJson);
        } catch (const App::FileFailure& failure) {
            return failure.Message();
        }
        return "none";
    }
    std::string SegmentError(const std::string& strSegment) {
        return FileError(R"([{"parameter": "Gain: Input Left", "segments": [)" + strSegment + "]}]");
    }
};

bool Contains(const std::string& strText, const std::string& strPiece) {
    return strText.find(strPiece) != std::string::npos;
}

}  // namespace

TEST_CASE("Automation file: times become ticks rounded half away from zero, and curves their codes") {
    Reader reader;
    const auto tracks = reader.Parse(R"([
        {"parameter": "Gain: Input Left", "segments": [
            {"start": 0.00000025, "end": 1.5, "from": -20, "to": 0.5, "curve": "linear"},
            {"start": -0.00000025, "end": 2, "from": 1, "to": 2, "curve": "jump"},
            {"start": 3, "end": 3, "from": 1, "to": 2, "curve": "square"},
            {"start": 4, "end": 1e9, "from": 1, "to": 2, "curve": "inverse-square"}]},
        {"parameter": "Global: Bypass", "segments": [
            {"start": 0, "end": 1, "from": "on", "to": false, "curve": "jump"}]}])");
    REQUIRE(tracks.size() == 2);
    const EnvelopeSegment expected[] = {
        {3, 15'000'000, -20.0f, 0.5f, 0, EnvelopeCurve::Linear},
        {-3, 20'000'000, 1, 2, 0, EnvelopeCurve::Jump},
        {30'000'000, 30'000'000, 1, 2, 0, EnvelopeCurve::Square},
        {40'000'000, 10'000'000'000'000'000, 1, 2, 0, EnvelopeCurve::InverseSquare},
        {0, 10'000'000, 1.0f, 0.0f, 0, EnvelopeCurve::Jump}};
    auto found = tracks[0].segments;
    CHECK(tracks[1].parameter.Name() == "Global: Bypass");
    found.insert(found.end(), tracks[1].segments.begin(), tracks[1].segments.end());
    REQUIRE(found.size() == std::size(expected));
    for (std::size_t i = 0; i < found.size(); ++i) {
        CAPTURE(i);
        CHECK(found[i].nStart == expected[i].nStart);
        CHECK(found[i].nEnd == expected[i].nEnd);
        CHECK(found[i].fStart == expected[i].fStart);
        CHECK(found[i].fEnd == expected[i].fEnd);
        CHECK(found[i].curve == expected[i].curve);
    }
    CHECK(reader.warnings.empty());

    App::InstallAutomation(tracks);
    auto& envelopes = reader.plugin.Find("Gain").Envelopes();
    CHECK(envelopes.SegmentCount(ParameterGroup::Float, 1) == 4);
    CHECK(reader.plugin.Find("Gain").HasAutomation());
}

TEST_CASE("Automation file: a value out of range is kept for the engine to clamp, with a warning") {
    Reader reader;
    const auto tracks =
        reader.ParseSegment(R"({"start": 0, "end": 1, "from": -6, "to": 20, "curve": "linear"})");
    CHECK(tracks[0].segments[0].fEnd == 20.0f);
    REQUIRE(reader.warnings.size() == 1);
    CHECK(Contains(reader.warnings[0], "\"to\": 20 is out of range (-144 to 10 dB)"));
    // What names no parameter, or one that can't be automated, is the command line's fault.
    CHECK_THROWS_AS(reader.Parse(R"([{"parameter": "Gain: Imput Left", "segments": []}])"), App::UsageError);
    CHECK_THROWS_AS(reader.Parse(R"([{"parameter": "Bypass Gain", "segments": []}])"), App::UsageError);
}

TEST_CASE("Automation file: whatever else is wrong names the file and the place") {
    Reader reader;
    for (const std::string strJson : {"", "[", "[1", "\xff", "[{\"parameter\": \"Gain\xc3\"}]", "nope"}) {
        CAPTURE(strJson);
        CHECK(Contains(reader.FileError(strJson), "curve.json: not JSON"));
    }
    CHECK(Contains(reader.FileError("{}"), "list"));
    CHECK(Contains(reader.FileError("[1]"), "entry 1: expected an object"));
    CHECK(Contains(reader.FileError(R"([{"parameter": "Gain: Input Left"}])"), "\"segments\" is missing"));
    CHECK(Contains(reader.FileError(R"([{"parameter": 1, "segments": []}])"), "\"parameter\" is no name"));
    CHECK(Contains(reader.FileError(R"([{"parameter": "Gain: Input Left", "segments": {}}])"), "no list"));

    const struct {
        std::string strSegment;
        std::string strComplaint;
    } cases[] = {
        {R"({"start": 0, "end": 1, "from": 0, "to": 1})", "\"curve\" is missing"},
        {R"({"start": 0, "end": 1, "from": 0, "to": 1, "curve": "jump", "stop": 1})", "\"stop\" is unknown"},
        {R"({"start": 0, "end": 1, "from": 0, "to": 1, "curve": "cubic"})", "\"cubic\" is no curve"},
        {R"({"start": 0, "end": 1, "from": 0, "to": 1, "curve": 2})", "2 is no curve"},
        {R"({"start": 2, "end": 1, "from": 0, "to": 1, "curve": "jump"})", "\"end\" is before \"start\""},
        {R"({"start": "0", "end": 1, "from": 0, "to": 1, "curve": "jump"})", "no number of seconds"},
        {R"({"start": 0, "end": 1.1e9, "from": 0, "to": 1, "curve": "jump"})", "beyond 1e9"},
        {R"({"start": 0, "end": 1, "from": "loud", "to": 1, "curve": "jump"})", "\"loud\" is no value"},
        {R"({"start": 0, "end": 1, "from": true, "to": 1, "curve": "jump"})", "true is no value"},
        {R"({"start": 0, "end": 1, "from": 1e60, "to": 1, "curve": "jump"})", "is no value"},
        {R"({"start": 0, "end": 1, "from": null, "to": 1, "curve": "jump"})", "null is no value"},
        {R"([])", "expected an object"},
    };
    for (const auto& wrong : cases) {
        CAPTURE(wrong.strSegment);
        const std::string strError = reader.SegmentError(wrong.strSegment);
        CAPTURE(strError);
        CHECK(Contains(strError, "curve.json: \"Gain: Input Left\", segment 1: "));
        CHECK(Contains(strError, wrong.strComplaint));
    }
}

TEST_CASE("Automation file: neither deep nesting nor an endless name costs more than a message") {
    Reader reader;
    const std::string strDeep = std::string(200000, '[') + std::string(200000, ']');
    CHECK(reader.SegmentError(R"({"start": 0, "end": 1, "to": 1, "curve": "jump", "from": )" + strDeep +
                              "}") == "curve.json: nested more than 8 levels deep");
    // Comparing all its letters with those of every parameter would take minutes.
    const std::string strName(20'000'000, 'x');
    CHECK_THROWS_AS(reader.Parse(R"([{"parameter": ")" + strName + R"(", "segments": []}])"),
                    App::UsageError);
}
