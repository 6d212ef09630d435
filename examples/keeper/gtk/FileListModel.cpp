// SPDX-License-Identifier: MIT
#include "FileListModel.hpp"

#include <algorithm>
#include <utility>

namespace {

using keeper::File;
using keeper::Listing;

struct KeeperItem {
  GObject parent;
  std::shared_ptr<const File>* file;
};
struct KeeperItemClass {
  GObjectClass parent;
};
G_DEFINE_TYPE(KeeperItem, keeper_item, G_TYPE_OBJECT)

void keeper_item_init(KeeperItem*) {}
void keeper_item_class_init(KeeperItemClass* type) {
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete reinterpret_cast<KeeperItem*>(object)->file;
    G_OBJECT_CLASS(keeper_item_parent_class)->finalize(object);
  };
}

struct KeeperList {
  GObject parent;
  std::shared_ptr<const Listing>* listing;
};
struct KeeperListClass {
  GObjectClass parent;
};

const Listing& listingOf(gpointer list) { return **static_cast<KeeperList*>(list)->listing; }

void beListModel(gpointer interface, gpointer) {
  auto* model = static_cast<GListModelInterface*>(interface);
  model->get_item_type = [](GListModel*) { return keeper_item_get_type(); };
  model->get_n_items = [](GListModel* list) { return static_cast<guint>(listingOf(list).files.size()); };
  model->get_item = [](GListModel* list, guint position) -> gpointer {
    const auto& files = listingOf(list).files;
    if (position >= files.size()) return nullptr;
    auto* item = reinterpret_cast<KeeperItem*>(g_object_new(keeper_item_get_type(), nullptr));
    item->file = new std::shared_ptr<const File>(files[position]);
    return item;
  };
}

G_DEFINE_TYPE_WITH_CODE(KeeperList, keeper_list, G_TYPE_OBJECT, G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, beListModel))

void keeper_list_init(KeeperList* list) {
  list->listing = new std::shared_ptr<const Listing>(std::make_shared<const Listing>());
}
void keeper_list_class_init(KeeperListClass* type) {
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete reinterpret_cast<KeeperList*>(object)->listing;
    G_OBJECT_CLASS(keeper_list_parent_class)->finalize(object);
  };
}

}  // namespace

namespace keeper {

FileListModel::FileListModel() : model_(G_LIST_MODEL(g_object_new(keeper_list_get_type(), nullptr))) {}

FileListModel::~FileListModel() { g_object_unref(model_); }

void FileListModel::show(std::shared_ptr<const Listing> listing) {
  auto& shown = *reinterpret_cast<KeeperList*>(model_)->listing;
  const Files& before = shown->files;
  const Files& after = listing->files;
  const auto [firstBefore, firstAfter] = std::ranges::mismatch(before, after);
  const auto head = firstBefore - before.begin();
  const auto tail = std::min(
      {std::ranges::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend()).in1 - before.rbegin(),
       before.end() - firstBefore, after.end() - firstAfter});
  const auto removed = static_cast<guint>(before.end() - firstBefore - tail);
  const auto added = static_cast<guint>(after.end() - firstAfter - tail);
  shown = std::move(listing);
  if (removed != 0 || added != 0) g_list_model_items_changed(model_, static_cast<guint>(head), removed, added);
}

const std::shared_ptr<const File>& FileListModel::file(gpointer item) { return *static_cast<KeeperItem*>(item)->file; }

}  // namespace keeper
