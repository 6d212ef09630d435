// SPDX-License-Identifier: MIT
#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "SettingsPeers.hpp"

namespace Tessaly::Benchmarks::SettingsPeers {
namespace {

constexpr const char* group = "org/example";

std::string path(const std::string& folder) { return folder + "/settings.ini"; }

class KeyFileStore final : public Store {
 public:
  KeyFileStore(const std::string& folder, int keys, Sync sync) : path_(path(folder)), sync_(sync) {
    if (keys == 0) {
      g_key_file_load_from_file(file_, path_.c_str(), G_KEY_FILE_NONE, nullptr);
      return;
    }
    for (int i = 0; i < keys; ++i) g_key_file_set_int64(file_, group, keyName(i).c_str(), i);
    save();
  }
  ~KeyFileStore() override { g_key_file_free(file_); }
  std::int64_t read(const std::string& key) override {
    return g_key_file_get_int64(file_, group, key.c_str(), nullptr);
  }
  void write(const std::string& key, std::int64_t value) override {
    g_key_file_set_int64(file_, group, key.c_str(), value);
    if (sync_ == Sync::afterEachWrite) save();
  }

 private:
  void save() {
    if (!g_key_file_save_to_file(file_, path_.c_str(), nullptr)) throw std::runtime_error("Cannot save the key file");
  }

  GKeyFile* const file_ = g_key_file_new();
  const std::string path_;
  const Sync sync_;
};

class GSettingsStore final : public Store {
 public:
  GSettingsStore(const std::string& folder, int keys) {
    {
      std::ofstream schema(folder + "/org.example.gschema.xml");
      schema << "<schemalist><schema id=\"org.example\" path=\"/org/example/\">";
      for (int i = 0; i < keys; ++i) {
        schema << "<key name=\"" << keyName(i) << "\" type=\"x\"><default>" << i << "</default></key>";
      }
      schema << "</schema></schemalist>";
    }
    if (std::system(("glib-compile-schemas '" + folder + "'").c_str()) != 0) {
      throw std::runtime_error("Cannot compile the schema");
    }
    GSettingsSchemaSource* source = g_settings_schema_source_new_from_directory(folder.c_str(), nullptr, TRUE, nullptr);
    GSettingsSchema* schema = g_settings_schema_source_lookup(source, "org.example", FALSE);
    GSettingsBackend* backend =
        g_keyfile_settings_backend_new((folder + "/gsettings.ini").c_str(), "/org/example/", "org/example");
    // So that the file has as many entries as the others'.
    GSettings* delayed = g_settings_new_full(schema, backend, nullptr);
    g_settings_delay(delayed);
    for (int i = 0; i < keys; ++i) g_settings_set_int64(delayed, keyName(i).c_str(), i + 1);
    g_settings_apply(delayed);
    g_settings_sync();
    g_object_unref(delayed);
    settings_ = g_settings_new_full(schema, backend, nullptr);
    g_object_unref(backend);
    g_settings_schema_unref(schema);
    g_settings_schema_source_unref(source);
  }
  ~GSettingsStore() override { g_object_unref(settings_); }
  std::int64_t read(const std::string& key) override { return g_settings_get_int64(settings_, key.c_str()); }
  void write(const std::string& key, std::int64_t value) override {
    g_settings_set_int64(settings_, key.c_str(), value);
  }

 private:
  GSettings* settings_ = nullptr;
};

}  // namespace

std::string keyName(int number) { return "key" + std::to_string(number); }

std::shared_ptr<Store> keyFile(const std::string& folder, int keys, Sync sync) {
  return std::make_shared<KeyFileStore>(folder, keys, sync);
}

std::shared_ptr<Store> gSettings(const std::string& folder, int keys) {
  return std::make_shared<GSettingsStore>(folder, keys);
}

}  // namespace Tessaly::Benchmarks::SettingsPeers
