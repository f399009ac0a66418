// Hash tables of instances, for the lists that are expected to hold many.

#include "netconf_dm_kernel/instances/instance_hash.h"

#include <cstdint>
#include <cstdlib>

#include "netconf_dm_util/log.h"
#include "netconf_dm_util/record_pool.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Entry = nc_dm_hash_tab_entry_node_t;
using Bucket = nc_dm_hash_tab_entry_t;

constinit nc::RecordPool<Entry> entries;

// The prime nearest to the golden ratio of 2^32 that is sparse in bits.
constexpr uint32_t kGoldenRatio = 0x9E370001U;
constexpr uint32_t kHashBits = 32;

bool HasBuckets(const nc_dm_hash_tab_t* hash_tab) {
  if (hash_tab == nullptr) return nc::Refuse(false, "The hash_tab input is null!\n");
  if (hash_tab->table == nullptr) return nc::Refuse(false, "The hash_tab->table input is null!\n");
  return true;
}

uint64_t BucketCount(const nc_dm_hash_tab_t* hash_tab) {
  return hash_tab->size_bits_num < kHashBits ? uint64_t{1} << hash_tab->size_bits_num : 0;
}

// The bucket of an id, whose low half alone is hashed; or null.
Bucket* BucketOf(const nc_dm_hash_tab_t* hash_tab, nc_int64 instid) {
  const uint32_t index = nc_dm_hash_32(static_cast<uint32_t>(instid), hash_tab->size_bits_num);
  if (index >= BucketCount(hash_tab)) {
    return nc::Refuse(nullptr, "The hash table index is more than the hash table size!\n");
  }
  return &hash_tab->table[index];
}

// The link that holds the entry of an id: the bucket's or the one of the entry before it. Null at
// the end of the chain.
Entry** LinkOf(Bucket* bucket, nc_int64 instid) {
  Entry** link = &bucket->first;
  while (*link != nullptr &&
         ((*link)->data_ptr == nullptr || (*link)->data_ptr->instid != instid)) {
    link = &(*link)->next;
  }
  return link;
}

void FreeChain(Bucket* bucket) {
  while (Entry* entry = bucket->first) {
    bucket->first = entry->next;
    entries.Release(entry);
  }
}

}  // namespace

bool nc::EnsureBuckets(nc_dm_hash_tab_t* hash_tab) {
  if (hash_tab->table != nullptr) return true;
  if (hash_tab->size_bits_num >= kHashBits) return false;
  hash_tab->table =
      static_cast<Bucket*>(calloc(size_t{1} << hash_tab->size_bits_num, sizeof(Bucket)));
  return hash_tab->table != nullptr;
}

nc_dm_agent_node_t* nc::FindInHashTable(const nc_dm_hash_tab_t* hash_tab, nc_int64 instid) {
  if (hash_tab == nullptr || hash_tab->table == nullptr) return nullptr;
  Bucket* bucket = BucketOf(hash_tab, instid);
  const Entry* entry = bucket != nullptr ? *LinkOf(bucket, instid) : nullptr;
  return entry != nullptr ? entry->data_ptr : nullptr;
}

uint32_t nc_dm_hash_32(uint32_t val, unsigned bits) {
  const unsigned shift = kHashBits - bits;
  return shift < kHashBits ? (val * kGoldenRatio) >> shift : 0;
}

nc_dm_agent_node_t* nc_dm_agent_get_mode_node_inst_by_hash_tab(nc_dm_hash_tab_t* hash_tab,
                                                               nc_int64 instid) {
  if (!HasBuckets(hash_tab)) return nullptr;
  nc_dm_agent_node_t* found = nc::FindInHashTable(hash_tab, instid);
  if (found == nullptr) return nullptr;
  NC_DM_LOG_INFO("Found dm_node instid: %lld from hash table.\n", nc::LongLong(instid));
  return found;
}

int nc_dm_agent_insert_mode_node_inst_to_hash_tab(nc_dm_hash_tab_t* hash_tab,
                                                  nc_dm_agent_node_t* dm_node) {
  if (!HasBuckets(hash_tab)) return -1;
  if (dm_node == nullptr) return nc::Refuse("The dm_node input is null!\n");
  Bucket* bucket = BucketOf(hash_tab, dm_node->instid);
  if (bucket == nullptr) return -1;
  if (*LinkOf(bucket, dm_node->instid) != nullptr) {
    NC_DM_LOG_INFO("Found dm_node instid: %lld from hash table, no need to create a new one.\n",
                   nc::LongLong(dm_node->instid));
    return 0;
  }
  Entry* entry = entries.Make();
  if (entry == nullptr) return nc::Refuse("Failed to malloc a new entry node!\n");
  // At the head: what was created last is asked for first.
  entry->data_ptr = dm_node;
  entry->next = bucket->first;
  bucket->first = entry;
  dm_node->is_hashed = 1;
  return 0;
}

void nc_dm_agent_delete_mode_node_inst_from_hash_tab(nc_dm_hash_tab_t* hash_tab, nc_int64 instid) {
  if (!HasBuckets(hash_tab)) return;
  Bucket* bucket = BucketOf(hash_tab, instid);
  if (bucket == nullptr) return;
  Entry** link = LinkOf(bucket, instid);
  Entry* entry = *link;
  if (entry == nullptr) return;
  NC_DM_LOG_INFO("Found dm_node instid:%lld from hash table.\n", nc::LongLong(instid));
  *link = entry->next;
  entry->data_ptr->is_hashed = 0;
  entries.Release(entry);
}

void nc_dm_agent_delete_mode_node_hash_tab_all_entries(nc_dm_hash_tab_t* hash_tab) {
  if (hash_tab == nullptr) {
    NC_DM_LOG_INFO("The hash_tab input is null.\n");
    return;
  }
  if (hash_tab->table == nullptr) {
    NC_DM_LOG_INFO("The hash_tab->table input is null.\n");
    return;
  }
  for (uint64_t i = 0; i < BucketCount(hash_tab); ++i) FreeChain(&hash_tab->table[i]);
  free(hash_tab->table);
  hash_tab->table = nullptr;
}
