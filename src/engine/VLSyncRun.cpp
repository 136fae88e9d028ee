#include "VLSyncRun.h"

VLSyncRun::VLSyncRun(bool preliminary, Step firstStep)
    : m_step(firstStep)
{
    report.preliminary = preliminary;
}

void VLSyncRun::startOperation(const void *source, Step step)
{
    if (!hasEnded())
        m_operations.insert(source, step);
}

std::optional<VLSyncRun::Step> VLSyncRun::stepOfOperation(const void *source) const
{
    const auto found = m_operations.constFind(source);
    if (found == m_operations.constEnd())
        return std::nullopt;
    return found.value();
}

std::optional<VLSyncRun::Step> VLSyncRun::takeOperation(const void *source)
{
    const std::optional<Step> step = stepOfOperation(source);
    m_operations.remove(source);
    return step;
}

void VLSyncRun::end(VLSyncRunReport::Ending ending)
{
    ++m_step;
    if (hasEnded())
        return;
    report.ending = ending;
    report.ended = QDateTime::currentDateTime();
}

VLSyncRunReport::File vlSyncRunReportFile(const VLSyncFileInfoPtr &file)
{
    if (!file)
        return {};
    return {file->fileType(), file->fileID(), file->SKU(), file->fileDescription(), file->versionString()};
}
