// The host section of both reports: computer name, version, product type,
// suites, processor, cluster state and the tool's version.
#include <cstdio>

#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "platform/types.h"
#include "inventory/host_facts.h"

namespace kestrand {

uint32_t CKestrand::PrintSystemInformation(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  HostFacts facts;
  uint32_t code = GatherHostFacts(facts);
  if (code != 0) return code;

  const OsVersion& version = facts.Version;
  PrintWide(stream, u"%20s: %s\n", u"Computer Name", facts.ComputerName.Get());
  PrintWide(stream, u"%20s: %d.%d Build %d %s\n", u"Version", version.Major, version.Minor,
            version.Build, version.ServicePack);
  PrintWide(stream, u"%20s: %s\n", u"Product Type", facts.ProductTypes.Get());
  PrintWide(stream, u"%20s: %s\n", u"Suites", facts.Suites.Get());
  PrintWide(stream, u"%20s: %s (%d CPU)\n", u"CPU Type", facts.Processor.Get(),
            facts.ProcessorCount);
  PrintWide(stream, u"%20s: %s\n", u"Cluster State", facts.ClusterState.Get());
  PrintWide(stream, u"%20s: %s\n", u"Kestrand Version", kKestrandVersion);
  return facts.ClusterQueryCode;
}

namespace {

uint32_t AddHostAttributes(CKestrandTreeNode* node, const HostFacts& facts) {
  using W = CKestrandXMLWriter;
  const OsVersion& version = facts.Version;
  uint32_t code = W::NewAttributeW(node, "ComputerName", facts.ComputerName.Get());
  if (code == 0) code = W::NewAttributeULL(node, "MajorVersion", version.Major);
  if (code == 0) code = W::NewAttributeULL(node, "MinorVersion", version.Minor);
  if (code == 0) code = W::NewAttributeULL(node, "BuildNumber", version.Build);
  if (code == 0) code = W::NewAttributeW(node, "CSDVersion", version.ServicePack);
  if (code == 0) code = W::NewAttributeW(node, "ProductTypes", facts.ProductTypes.Get());
  if (code == 0) code = W::NewAttributeW(node, "Suites", facts.Suites.Get());
  if (code == 0) code = W::NewAttributeW(node, "Processor", facts.Processor.Get());
  if (code == 0) code = W::NewAttributeULL(node, "NumberOfProcessors", facts.ProcessorCount);
  if (code == 0) code = W::NewAttributeW(node, "ClusterState", facts.ClusterState.Get());
  if (code == 0) code = W::NewAttributeW(node, "KestrandVersion", kKestrandVersion);
  return code;
}

}  // namespace

uint32_t CKestrand::AddSystemInformation(CKestrandTreeNode* root) {
  if (!root) return ERROR_INVALID_PARAMETER_CODE;
  HostFacts facts;
  uint32_t code = GatherHostFacts(facts);
  if (code != 0) return code;

  CKestrandTreeNode* node = root->AddChild("SystemInformation");
  if (!node) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  code = CKestrandXMLWriter::SetElementDisplay(node, "System Information", "3");
  if (code == 0) code = AddHostAttributes(node, facts);
  return code != 0 ? code : facts.ClusterQueryCode;
}

}  // namespace kestrand
