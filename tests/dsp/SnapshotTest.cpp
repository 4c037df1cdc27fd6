#include "dsp/Snapshot.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "dsp/meter/SpectrumState.h"
#include "hvBase/Util/ByteStream.h"
#include "tests/support/Signals.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestContext.h"

using DSP::Meter::Snapshot;
using DSP::Meter::Spectrum;
using Kind = SnapshotFileKind;

namespace {

/// A meter, an equalizer that matches, and the snapshots between them.
struct Fixture {
    explicit Fixture(const std::string& strFolder = {}) { context.strDataFolder = strFolder; }

    Test::TestContext context;
    DSP::Meter::SpectrumState state{context};
    Spectrum spectrum{context, state};
    DSP::Equalizer::Parametric eq{context};
    std::unique_ptr<Snapshot> snapshot;

    Snapshot& Get() {
        if (!snapshot) snapshot = std::make_unique<Snapshot>(context, spectrum, eq);
        return *snapshot;
    }
    /// The matching curve's greatest deviation from 0 dB.
    float Curve() {
        DSP::ResponseCurve decibels;
        eq.SetMatchingAmount(100.0f);
        eq.MatchingResponse(decibels);
        float fWorst = 0.0f;
        for (const float fDb : decibels)
            fWorst = std::max(fWorst, std::abs(fDb));
        return fWorst;
    }
};

const SnapshotRecord kFalling{"falling", {20, 1000, 20000}, {-10, -30, -60}};

}  // namespace

TEST_CASE(
    "Snapshot: the built-ins fall by 6 and 3 dB an octave above 1 kHz and stay, and parameters reach the EQ") {
    Fixture f;
    Snapshot& s = f.Get();
    for (const auto& [iRecord, fSlope] : {std::pair{8u, -6.0}, {9u, -3.0}}) {
        const SnapshotRecord record = s.Record(iRecord);
        CHECK(record.frequencies == std::vector<float>{20, 1000, 20000});
        CHECK((record.levels[0] == -50.0f && record.levels[1] == -50.0f));
        CHECK(std::abs((record.levels[2] + 50.0) / std::log2(20.0) - fSlope) < 1e-3);
        CHECK_FALSE(s.Store(iRecord, kFalling));
        s.Capture(iRecord);
        CHECK(s.Import("nowhere", iRecord) != "");
        CHECK(s.Export("nowhere", iRecord, Kind::Single) != "");
        CHECK(s.Record(iRecord) == record);
    }
    CHECK(s.Record(0) == SnapshotRecord{"A", {20, 20000}, {-200, -200}});
    for (const std::uint32_t iRecord : {10u, 0xFFFFFFFFu}) {
        s.SetSource(iRecord);
        s.SetTarget(iRecord);
        s.SetVisible(iRecord, true);
        CHECK((s.Source() == 0 && s.Target() == 0 && !s.IsVisible(0)));
        CHECK(s.Record(iRecord) == s.Record(0));
    }
    s.SetFloat(0, 40.0f);
    s.SetFloat(1, 0.25f);
    CHECK((f.eq.MatchingAmount() == 40.0f && f.eq.Smoothing() == 0.25f));
}

TEST_CASE("Snapshot: a capture holds the meter's values in dB where they belong, and the curve follows") {
    for (int nType = 0; nType < 3; ++nType) {
        CAPTURE(nType);
        Fixture f;
        Snapshot& s = f.Get();
        f.spectrum.SetInt(0, nType);
        f.spectrum.SetSampleRate(48000);
        s.SetTarget(9);
        const float fBefore = f.Curve();
        s.Capture(3);
        CHECK(f.Curve() == fBefore);
        CHECK(s.Record(3).levels[1] == -400.0f);
        const auto noise = Test::Noise(5, 20000);
        f.spectrum.Meter(20000, noise.data(), nullptr);
        s.Capture(0);
        CHECK(f.Curve() != fBefore);

        // Bands begin with one more value, at 0 Hz. 2049 linear values end one step below half the rate.
        const auto reading = f.spectrum.Current();
        const std::size_t uExtra = nType == 0 ? 0 : 1;
        std::vector<float> frequencies(uExtra);
        for (std::size_t i = 0; i < reading.magnitudes.size(); ++i)
            frequencies.push_back(nType == 0 ? static_cast<float>(static_cast<double>(i) * 24000.0 / 2049)
                                             : reading.frequencies[i]);
        CHECK(s.Record(0).frequencies == frequencies);
        const std::vector<float>& levels = s.Record(0).levels;
        REQUIRE(levels.size() == frequencies.size());
        for (std::size_t i = 0; i < levels.size(); ++i) {
            const double fMagnitude = reading.magnitudes[i < uExtra ? 0 : i - uExtra];
            const double fDb = fMagnitude < 1e-20 ? -400.0 : 20.0 * std::log10(fMagnitude);
            REQUIRE(std::abs(levels[i] - fDb) < 1e-4);
        }
    }
}

TEST_CASE("Snapshot: files pass between slots, and a change of source or target is in the curve at once") {
    const Test::TempFolder folder;
    Fixture f;
    Snapshot& s = f.Get();
    REQUIRE(s.Store(6, kFalling));
    CHECK(f.Curve() < 1e-3f);
    CHECK(s.Export(folder.File("one.snapshot"), 6, Kind::Single) == "");
    CHECK(s.Export(folder.File("all.snapshotset"), 99, Kind::Set) == "");
    CHECK(s.Import(folder.File("one.snapshot"), 2) == "");
    CHECK(s.Record(2) == kFalling);
    CHECK(f.Curve() < 1e-3f);
    s.SetTarget(1);
    CHECK(s.Import(folder.File("one.snapshot"), 1) == "");
    const float fMatched = f.Curve();
    CHECK(fMatched > 5.0f);
    s.SetSource(2);
    CHECK(f.Curve() < 1e-3f);
    // The set was written before slots 1 and 2 changed, and takes all eight back.
    s.SetSource(0);
    s.SetTarget(6);
    CHECK(s.Import(folder.File("all.snapshotset"), 0) == "");
    CHECK(s.Record(1) == SnapshotRecord{"B", {20, 20000}, {-200, -200}});
    CHECK(s.Record(6) == kFalling);
    CHECK(std::abs(f.Curve() - fMatched) < 1e-3f);

    Test::Spill(folder.File("bad"), Test::Slurp(folder.File("one.snapshot")).substr(0, 40));
    CHECK(s.Import(folder.File("bad"), 6) != "");
    CHECK(s.Import(folder.File("missing"), 6) == "File not found");
    CHECK(s.Export(folder.File("no/such/folder"), 6, Kind::Single) != "");
    CHECK_FALSE(s.Store(6, {"", {}, {}}));
    CHECK(s.Record(6) == kFalling);
}

TEST_CASE("Snapshot: slots, choices and flags outlive the object in the data folder") {
    const Test::TempFolder folder;
    const std::string strFile = folder.File("hvVesca3.snapshotstate");
    float fCurve = 0.0f;
    {
        Fixture f(folder.Path());
        f.Get().Store(4, kFalling);
        f.Get().SetSource(4);
        f.Get().SetTarget(8);
        f.Get().SetVisible(7, true);
        f.Get().SetVisible(9, true);
        fCurve = f.Curve();
        CHECK(fCurve > 5.0f);
        CHECK(folder.Count() == 0);
    }
    const std::string strBytes = Test::Slurp(strFile);
    CHECK(strBytes.substr(0, 16) == std::string("\x21\x23\x87\x41\1\0\0\0\4\0\0\0\x8\0\0\0", 16));
    {
        Fixture f(folder.Path());
        const Snapshot& s = f.Get();
        CHECK(s.Record(4) == kFalling);
        CHECK((s.Source() == 4 && s.Target() == 8 && s.IsVisible(7) && s.IsVisible(9) && !s.IsVisible(8)));
        CHECK(f.Curve() == fCurve);
    }
    CHECK(Test::Slurp(strFile) == strBytes);

    // What could not be read whole is kept until there is something to put in its place.
    Test::Spill(strFile, strBytes.substr(0, strBytes.size() / 2));
    Fixture(folder.Path()).Get();
    CHECK(Test::Slurp(strFile) == strBytes.substr(0, strBytes.size() / 2));
    Fixture(folder.Path()).Get().SetVisible(0, true);
    CHECK(Test::Slurp(strFile).size() > strBytes.size() / 2);
}

TEST_CASE("Snapshot: without a state file the curves of earlier versions come from the settings") {
    Util::ByteStream value;
    for (std::int32_t i = 0; i < 417; ++i)
        value.InsertS32(i < 3 ? 139 * i : -1);
    for (std::int32_t i = 0; i < 417; ++i)
        value.InsertS32(13 * (i + 1));
    value.InsertU32(0);
    Util::ByteStream tooLong = value;
    tooLong.InsertU32(0);
    const Test::TempFolder folder;
    Fixture f(folder.Path());
    auto& settings = f.context.settings;
    settings.SetBytes("SnapshotState0", value.Bytes().data(), value.Bytes().size());
    settings.SetText("SnapshotName0", "Old");
    settings.SetBytes("SnapshotState7", tooLong.Bytes().data(), tooLong.Bytes().size());
    settings.SetNumber("Snapshot6dBGuide", 1);
    const SnapshotRecord& old = f.Get().Record(0);
    CHECK(old.strName == "Old");
    CHECK(old.levels == std::vector<float>{-6.5f, -13.0f, -19.5f});
    // 139 columns are a third of the three decades from 20 Hz.
    const double expected[] = {20, 200, 2000};
    REQUIRE(old.frequencies.size() == 3);
    for (std::size_t i = 0; i < 3; ++i)
        CHECK(std::abs(old.frequencies[i] / expected[i] - 1.0) < 1e-6);
    CHECK(f.Get().Record(7) == SnapshotRecord{"H", {20, 20000}, {-200, -200}});
    CHECK((f.Get().IsVisible(8) && !f.Get().IsVisible(9)));
    CHECK(f.Curve() < 1e-3f);
}
