#include "ldm/private_header.h"

#include "disk/disk.h"
#include "ldm/big_endian.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

using H = PRIVATE_HEADER;

// Every version has these, from byte 12 of the sector on.
constexpr FIELD_DESC kBaseFields[] = {
    Field<H, FIELD_U16, &H::VersionMajor>(),
    Field<H, FIELD_U16, &H::VersionMinor>(),
    Field<H, FIELD_U64, &H::UpdateTime>(),
    Field<H, FIELD_U64, &H::UpdateSequence>(),
    Field<H, FIELD_U64, &H::PrimaryHeader>(),
    Field<H, FIELD_U64, &H::AlternateHeader>(),
    Field<H, FIELD_GUID_TEXT, &H::DiskId, 64>(),
    Field<H, FIELD_GUID_TEXT, &H::HostId, 64>(),
    Field<H, FIELD_GUID_TEXT, &H::PackId, 64>(),
    Field<H, FIELD_BYTES, &H::PackName, 31>(),
    Field<H, FIELD_U32, &H::IOsize>(),
    Field<H, FIELD_U32, &H::Flags>(),
    Field<H, FIELD_U16, &H::PublicId>(),
    Field<H, FIELD_U16, &H::PrivateId>(),
    Field<H, FIELD_U64, &H::PublicOffset>(),
    Field<H, FIELD_U64, &H::PublicLength>(),
    Field<H, FIELD_U64, &H::PrivateOffset>(),
    Field<H, FIELD_U64, &H::PrivateLength>(),
    Field<H, FIELD_U64, &H::TocPrimarySector>(),
    Field<H, FIELD_U64, &H::TocAlternateSector>(),
    Field<H, FIELD_U32, &H::ConfigCopiesCount>(),
    Field<H, FIELD_U32, &H::LogCopiesCount>(),
    Field<H, FIELD_U64, &H::ConfigCopyLength>(),
    Field<H, FIELD_U64, &H::LogCopyLength>(),
};

constexpr FIELD_DESC kVersion10Fields[] = {
    Field<H, FIELD_U32, &H::BootSig>(),
};

constexpr FIELD_DESC kVersion11Fields[] = {
    Field<H, FIELD_GUID, &H::DiskSetId>(),
    Field<H, FIELD_GUID, &H::NewDiskSetId>(),
};

constexpr FIELD_DESC kVersion12Fields[] = {
    Field<H, FIELD_GUID, &H::NewDiskId>(),
    Field<H, FIELD_GUID, &H::NewPackId>(),
    Field<H, FIELD_BYTES, &H::NewPackName, 31>(),
};

}  // namespace

NTSTATUS DecodePrivateHeader(const uint8_t* sector, uint32_t size, PRIVATE_HEADER& header) {
  if (!sector || size < kPrivateHeaderFieldsOffset) return STATUS_INVALID_PARAMETER_CODE;
  FieldChain chain(&header, sector + kPrivateHeaderFieldsOffset, size - kPrivateHeaderFieldsOffset);
  chain.Decode(kBaseFields);
  // Only the minor version decides which later fields are present.
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 10, kVersion10Fields);
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 11, kVersion11Fields);
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 12, kVersion12Fields);
  return chain.Failed() ? STATUS_INVALID_PARAMETER_CODE : STATUS_SUCCESS_CODE;
}

uint32_t PRIVATE_HEADER_WRAPPER::Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset) {
  const uint32_t code = ReadSector(owner, disk, name, offset);
  if (code != 0 || ReadStatus < 0) return code;
  // A sector too small for the checksum keeps it zero.
  if (RawSectorSize >= kPrivateHeaderFieldsOffset) StoredChecksum = LoadBigEndian32(RawSector.get() + 8);
  ParseStatus = DecodePrivateHeader(RawSector.get(), RawSectorSize, Header);
  return 0;
}

uint32_t PRIVATE_HEADER_WRAPPER::BytesPerSector() const {
  return Owner && Owner->Disk ? Owner->Disk->BytesPerSector() : 0;
}

}  // namespace kestrand
