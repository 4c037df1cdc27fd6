#include "apps/vesca/BatchRender.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/TextList.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Dir.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

std::string Figure(const std::optional<double>& value) {
    if (!value) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", *value);
    return text;
}

std::string Speed(const RenderSummary& summary) {
    const double fAudio = static_cast<double>(summary.uFramesOut) / summary.uSampleRate;
    return Figure(summary.fElapsedSeconds > 0.0 ? fAudio / summary.fElapsedSeconds : 0.0) + " x";
}

/// The workers of one run and what they share.
class Workers {
public:
    Workers(const RenderJob& job, std::vector<BatchResult>& files, std::ostream* messages)
        : m_job(job), m_files(files), m_messages(messages) {}

    void Work(std::uint32_t uJobs) {
        std::vector<std::thread> workers;
        for (std::uint32_t i = 1; i < uJobs; ++i)
            workers.emplace_back([this] { RenderFiles(); });
        RenderFiles();
        for (std::thread& worker : workers)
            worker.join();
        if (m_stop) std::rethrow_exception(m_stop);
    }

private:
    void RenderFiles() {
        for (std::size_t i = m_uNext++; i < m_files.size() && !m_bStop; i = m_uNext++)
            RenderOne(m_files[i]);
    }

    void RenderOne(BatchResult& file) {
        RenderJob::Observers observers;
        observers.bMeasure = true;
        observers.warn = [&](const std::string& strWarning) {
            Tell(Util::Format("%1: warning: %2", file.strInput, strWarning));
        };
        try {
            file.summary = m_job.Run(file.strInput, file.strOutput, observers);
            Tell(Util::Format("%1 -> %2: %3 LUFS, %4 dB true peak, %5 real time", file.strInput,
                              file.strOutput, Figure(file.summary->output.integratedLufs),
                              Figure(file.summary->output.truePeakDb), Speed(*file.summary)));
        } catch (const Interrupted&) {
            Stop();
        } catch (const Util::Exception::FileIO& failure) {
            Fail(file, failure.Message() + ": " + FailureReason(failure));
        } catch (const std::exception& failure) {
            Fail(file, failure.what());
        }
    }

    void Fail(BatchResult& file, std::string strFailure) {
        file.strFailure = std::move(strFailure);
        Tell(Util::Format("%1: %2", file.strInput, file.strFailure));
    }

    void Stop() {
        const std::lock_guard lock(m_mutex);
        if (!m_stop) m_stop = std::current_exception();
        m_bStop = true;
    }

    void Tell(const std::string& strLine) {
        const std::lock_guard lock(m_mutex);
        if (m_messages) *m_messages << "vesca: " << strLine << std::endl;
    }

    const RenderJob& m_job;
    std::vector<BatchResult>& m_files;
    std::atomic<std::size_t> m_uNext = 0;
    std::atomic<bool> m_bStop = false;

    std::mutex m_mutex;  ///< of what follows
    std::ostream* m_messages;
    std::exception_ptr m_stop;
};

}  // namespace

BatchRender::BatchRender(const std::vector<std::string>& inputs, const std::string& strFolder,
                         std::uint32_t uJobs)
    : m_strFolder(strFolder), m_uJobs(uJobs) {
    std::map<std::string, std::string> inputOf;
    for (const std::string& strInput : inputs) {
        const std::string strOutput = Util::JoinPath(strFolder, Util::SplitPath(strInput).strName);
        const auto [known, bNew] = inputOf.emplace(strOutput, strInput);
        if (!bNew)
            throw UsageError(
                Util::Format("%1 and %2 would both become %3", known->second, strInput, strOutput));
        m_files.push_back({strInput, strOutput, std::nullopt, ""});
    }
}

std::vector<BatchResult> BatchRender::Run(const RenderJob& job, std::ostream* messages) const {
    job.Check();
    Util::Dir::Create(m_strFolder);
    std::vector<BatchResult> results = m_files;
    const auto uJobs = static_cast<std::uint32_t>(std::min<std::size_t>(m_uJobs, results.size()));
    Workers(job, results, messages).Work(uJobs);
    return results;
}

std::string BatchTable(const std::vector<BatchResult>& results) {
    std::vector<std::vector<std::string>> rows = {
        {"FILE", "LUFS IN", "LUFS OUT", "PEAK IN", "PEAK OUT", "SPEED", "RESULT"}};
    for (const BatchResult& result : results) {
        if (!result.summary) {
            rows.push_back({result.strInput, "-", "-", "-", "-", "-", result.strFailure});
            continue;
        }
        const RenderSummary& summary = *result.summary;
        rows.push_back({result.strInput, Figure(summary.input.integratedLufs),
                        Figure(summary.output.integratedLufs), Figure(summary.input.truePeakDb),
                        Figure(summary.output.truePeakDb), Speed(summary), "done"});
    }
    return AlignedTable(rows);
}

std::string ReportListText(const std::vector<BatchResult>& results) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const BatchResult& result : results) {
        if (!result.summary) continue;
        nlohmann::ordered_json report = {{"file", result.strOutput}};
        report.update(nlohmann::ordered_json::parse(ReportText(*result.summary)));
        list.push_back(std::move(report));
    }
    return list.dump(2) + '\n';
}

void RequireSuccess(const std::vector<BatchResult>& results) {
    const auto nFailed = std::count_if(results.begin(), results.end(),
                                       [](const BatchResult& result) { return !result.summary; });
    if (nFailed != 0) throw FileFailure(Util::Format("%1 of %2 files failed", nFailed, results.size()));
}

}  // namespace App
