#include "DiskLayout.h"

namespace Tracewell {

void writeBTreesToDisk(FileIO&, const NodeTree&, long long) {}
void readBTreeFromDisk(FileIO&, long long, long long, NodeTree&, long long&) {}

} // namespace Tracewell
