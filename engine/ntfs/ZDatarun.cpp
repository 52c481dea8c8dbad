#include "engine/ntfs/ZDatarun.h"

#include "engine/ntfs/RunList.h"

namespace kova {

bool ZDatarun::decode(uint32 bytesPerCluster, const ntfs::AttributeHeader& attribute,
                      std::vector<ZDatarun>& out, std::vector<ZDatarun>* mergeInto) {
    RunList list;
    if (!list.decode(bytesPerCluster, attribute))
        return false;
    out = list.take();
    if (mergeInto != nullptr)
        merge(*mergeInto, out);
    return true;
}

void ZDatarun::merge(std::vector<ZDatarun>& destination, const std::vector<ZDatarun>& source) {
    RunList list(destination);
    list.merge(RunList(source));
    destination = list.take();
}

int64 ZDatarun::vcnToLcn(const std::vector<ZDatarun>& runs, int64 vcn) {
    return RunList(runs).lcnOf(vcn);
}

} // namespace kova
