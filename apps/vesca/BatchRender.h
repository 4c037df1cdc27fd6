#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "apps/vesca/RenderJob.h"

namespace App {

/// What became of one file.
struct BatchResult {
    std::string strInput;
    std::string strOutput;
    std::optional<RenderSummary> summary;  ///< nothing: the render failed
    std::string strFailure;                ///< why
};

/// Renders several files into a folder, each under its own name.
class BatchRender {
public:
    /// Throws a UsageError where two inputs would have one output.
    BatchRender(const std::vector<std::string>& inputs, const std::string& strFolder, std::uint32_t uJobs);

    /// Renders all of them, uJobs at a time, and tells of each on `messages`, if that is given, in a line
    /// when it is done. One that fails does not keep the others. Makes the folder. Throws Interrupted after
    /// every render has stopped and cleaned up behind it, and UsageError for settings
    /// that have no meaning, before any file is touched.
    std::vector<BatchResult> Run(const RenderJob& job, std::ostream* messages) const;

private:
    std::string m_strFolder;
    std::uint32_t m_uJobs;
    std::vector<BatchResult> m_files;
};

/// A row a file: loudness and true peak before and after, speed; or why it failed.
std::string BatchTable(const std::vector<BatchResult>& results);

/// The reports of the files that succeeded, as a JSON list; each begins with "file", its output.
std::string ReportListText(const std::vector<BatchResult>& results);

/// Throws a FileFailure if any file failed.
void RequireSuccess(const std::vector<BatchResult>& results);

}  // namespace App
