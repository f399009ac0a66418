#include "default_elements.h"

#include <span>

#include "record.h"
#include "value.h"

namespace ncdm::model {

void AddDefaultElements(Application& application, const ncdm_node_t& leaf_list, const Ids& outer) {
  Store& store = application.store();
  if (leaf_list.default_count == 0 || store.Next(leaf_list, outer, 0) != 0) return;
  const ncdm_leaf_t& value = leaf_list.leaves[0];
  for (const char* text : std::span(leaf_list.defaults, leaf_list.default_count)) {
    Record record = Application::Defaults(leaf_list);
    if (!ReadText(*value.type, text, Member(value, record.data()))) continue;
    Ids ids = outer;
    ids.push_back(store.NewId(leaf_list, outer, record.data()));
    store.Put(leaf_list, ids, record.data());
    application.Announce(leaf_list, ids);
  }
  store.SetHasDefaults(leaf_list, outer, true);
}

void AddDefaultElements(Application& application, const ncdm_model_t& model) {
  for (const ncdm_node_t* node : Nodes(model)) {
    if (node->kind == NCDM_LEAF_LIST && node->levels == 1) {
      AddDefaultElements(application, *node, {});
    }
  }
}

void AddDefaultElementsOfEntry(Application& application, const ncdm_node_t& list, const Ids& ids) {
  for (const ncdm_node_t* node : Nodes(*list.model)) {
    if (node->default_count != 0 && node->levels == list.levels + 1 && IsBelow(*node, list)) {
      AddDefaultElements(application, *node, ids);
    }
  }
}

void EndDefaultElements(Application& application, const ncdm_node_t& leaf_list, const Ids& outer) {
  Store& store = application.store();
  if (!store.HasDefaults(leaf_list, outer)) return;
  for (const Ids& ids : store.Below(leaf_list, outer)) {
    store.Drop(leaf_list, ids);
    application.Withdraw(leaf_list, ids);
  }
  store.SetHasDefaults(leaf_list, outer, false);
}

}  // namespace ncdm::model
