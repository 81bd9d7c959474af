// The catalogue of engine materials that an artist can choose from, written in the Lua script
// "materials.lua" in the host's plug-in configuration directory.
//
// The list is loaded on first need, once: findMaterial and getMaterials load only while the list is
// empty and no load has failed. So a loaded list is never loaded again; a failed load is never
// retried (the artist sees one error box); a load that succeeds with no materials runs again at the
// next call; and a load that fails part-way keeps and serves what it read before the failure.
//
// Records stay in the list for the life of the process and are never removed, but the list can grow
// during a load: hold a pointer to a record only for one operation. No lock: every caller comes
// from the host's main thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "MaterialDesc.h"

class MaterialsList {
 public:
  // Runs the catalogue script at `path` and appends its materials to the list. On failure the
  // artist is shown the reason in a message box ("Error"), and the answer is false; materials read
  // before the failure stay in the list. An empty path throws std::out_of_range.
  bool loadMaterialsList(const char* path);

  // Look-up by exact name (case-sensitive), loading first if the list is due. The first record of
  // that name in list order, or null.
  const MaterialDesc* findMaterial(std::string_view name);
  // The whole list, loading first if the list is due.
  const std::vector<MaterialDesc>& getMaterials();

  // The list and the flag as they stand, without loading.
  const std::vector<MaterialDesc>& materials() const { return list_; }
  bool loadFailed() const { return loadFailed_; }

 private:
  // Loads from the plug-in configuration directory when the list is empty and no load has failed.
  void loadIfDue();

  std::vector<MaterialDesc> list_;
  bool loadFailed_ = false;
};

// The process-wide catalogue, created empty when the plug-in loads.
MaterialsList& theMaterialsList();

// findMaterial and getMaterials of the process-wide catalogue.
const MaterialDesc* findMaterial(std::string_view name);
const std::vector<MaterialDesc>& getMaterials();

// "default" for a name the catalogue has retired ("metal", "Concrete", "Ground", "Grass",
// "billboard"; exact and case-sensitive), else the name itself.
std::string canonicalMaterialName(std::string_view name);
