#include "host/record/RecordSink.h"

namespace Rvl {

bool CRecordSink::take(const SSnapshot& snapshot)
{
    const CCallWatch::CCall call(calls_, "the record");
    if (recorder_.write(snapshot.controllers, snapshot.utc)) {
        return true;
    }
    onFailure_();
    return false;
}

} // namespace Rvl
