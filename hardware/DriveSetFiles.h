#pragma once
#include "library/DriveFile.h"
#include "library/DriveSet.h"
#include "wire/FileRecord.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tavu {

// The named record files of a drive set (".config", "<port>.pair", "<fileId>-<streamId>.info").
// The library sizes files in stripes, a cluster on each drive; a size in bytes is rounded up.

// Bytes of one stripe of the set.
uint64_t stripeBytes(Quillon::DriveSet& driveSet);

// Whole stripes that hold `bytes`.
uint64_t stripesFor(uint64_t bytes, uint64_t stripe);

// ".config": 2 MiB.
uint64_t configFileStripes(uint64_t stripe);
// A ".pair" file grows from 32 MiB in steps of 8 MiB until the block and its envelope fit, so
// that a new block seldom needs a new file.
uint64_t pairFileStripes(uint64_t blockBytes, uint64_t stripe);
// An ".info" file: the block and room for its envelope.
uint64_t infoFileStripes(uint64_t blockBytes, uint64_t stripe);

// The wanted size of a file in stripes, given the stripe size.
using FileSizeRule = std::function<uint64_t(uint64_t stripe)>;

// Opens the named file for writing, making it first when it is missing or smaller than wanted (a
// file too small is removed and made again). A file large enough is reused and overwritten from
// its start.
boost::shared_ptr<Quillon::DriveFile> ensureDriveFile(Quillon::DriveSet& driveSet, const std::string& name,
                                                      const FileSizeRule& wantedStripes);

// Writes an info record holding `block` into the named file.
void storeBlockFile(Quillon::DriveSet& driveSet, const std::string& name, std::span<const uint8_t> block,
                    const FileSizeRule& wantedStripes);

// A recording's info record, "<fileId>-<streamId>.info", for an identity block too large for the
// file's metadata.
void writeInfoFile(Quillon::DriveSet& driveSet, uint32_t fileId, uint32_t streamId,
                   std::span<const uint8_t> block);
std::vector<uint8_t> readInfoFile(Quillon::DriveSet& driveSet, uint32_t fileId, uint32_t streamId);

// Replaces the metadata block of a drive file with the meta record of `entries`, in one write of
// the block's whole capacity. An empty list is written too.
void writeFileMetadata(Quillon::DriveFile& file, const std::vector<FileRecord>& entries);

// Reads the block of the info record in the named file. The name is not checked first: the
// library's answer to opening file 0 is what the caller gets when the file is missing.
std::vector<uint8_t> loadBlockFile(Quillon::DriveSet& driveSet, const std::string& name);

}  // namespace tavu
