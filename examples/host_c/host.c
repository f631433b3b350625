// A collector in one file of C: loads the plug-in, hands it every page of a page file, and ends.
//
//   cc $(pkg-config --cflags vekora-fluentbit-exporter) host.c -ldl -o host
//   ./host "$(pkg-config --variable=plugin vekora-fluentbit-exporter)" CONFIG-DIR SCHEMA-DIR PAGES
//
// CONFIG-DIR holds .exp files, SCHEMA-DIR "schema_<identifier>.json" files; "vektool generate"
// makes all three. The plug-in is loaded, not linked, so this program starts where it is not
// installed.
#include <data/data_page.h>
#include <dlfcn.h>
#include <exporter/exporter_api.h>
#include <schema_manager/fillings.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <utils/dictionary.h>

#define MAX_PAGE_BYTES (64u << 20)

// Of the plug-in, what this host calls. The types are those of the declarations in its headers.
static struct {
  const vek_exporter_api_t* (*get_api)(void);
  vek_dict_t* (*dict_create)(void);
  bool (*dict_add)(vek_dict_t*, const char*, const char*);
  void (*dict_delete)(vek_dict_t*);
  vek_schema_manager_t* (*manager_create)(const char*);
  void (*manager_destroy)(vek_schema_manager_t*);
  void (*fill)(vek_schema_manager_t*, vek_exporter_schema_manager_t*);
} plugin;

static bool load_plugin(const char* path) {
  // Names of the plug-in stay its own. It is never closed: its engine runs threads.
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    fprintf(stderr, "%s\n", dlerror());
    return false;
  }
  const struct {
    const char* name;
    void* place;
  } needed[] = {{"vek_exporter_get_api", &plugin.get_api},
                {"vek_dict_create", &plugin.dict_create},
                {"vek_dict_add", &plugin.dict_add},
                {"vek_dict_delete", &plugin.dict_delete},
                {"vek_schema_manager_create", &plugin.manager_create},
                {"vek_schema_manager_destroy", &plugin.manager_destroy},
                {"vek_exporter_schema_manager_from_manager", &plugin.fill}};
  for (size_t i = 0; i < sizeof needed / sizeof *needed; ++i) {
    void* symbol = dlsym(library, needed[i].name);
    if (!symbol) {
      fprintf(stderr, "%s: has no %s\n", path, needed[i].name);
      return false;
    }
    memcpy(needed[i].place, &symbol, sizeof symbol);
  }
  return true;
}

// The next page image, or null at the end of the file and where no page can be.
static vek_data_page_t* read_page(FILE* file) {
  vek_data_page_t header;
  if (fread(&header, 1, sizeof header, file) != sizeof header) return NULL;
  const uint64_t total = header.total;
  if (total < sizeof header || total > MAX_PAGE_BYTES) return NULL;
  unsigned char* image = malloc(total);
  if (!image) return NULL;
  memcpy(image, &header, sizeof header);
  const size_t rest = (size_t)total - sizeof header;
  if (fread(image + sizeof header, 1, rest, file) == rest) return (vek_data_page_t*)image;
  free(image);
  return NULL;
}

// Pages that the plug-in took, or -1.
static long export_pages(const char* config_dir, vek_schema_manager_t* manager, FILE* pages) {
  const vek_exporter_api_t* api = plugin.get_api();
  if (api->version != VEK_EXPORTER_API_VERSION) return -1;
  vek_dict_t* params = plugin.dict_create();
  plugin.dict_add(params, "fluentbit-config-dir", config_dir);
  void* exporter = api->init(params);
  plugin.dict_delete(params);
  if (!exporter) return -1;

  vek_exporter_schema_manager_t schemas;
  plugin.fill(manager, &schemas);
  long taken = api->connect(exporter) == 1 ? 0 : -1;
  vek_data_page_t* page = NULL;
  while (taken >= 0 && (page = read_page(pages)) != NULL) {
    taken += api->export_data_page(exporter, page, &schemas);
    free(page);  // pages are only read during the call
  }
  api->disconnect(exporter);
  api->destroy(exporter);
  return taken;
}

int main(int argc, char** argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: %s PLUGIN CONFIG-DIR SCHEMA-DIR PAGES\n", argv[0]);
    return 2;
  }
  if (!load_plugin(argv[1])) return 1;
  FILE* pages = fopen(argv[4], "rb");
  if (!pages) {
    perror(argv[4]);
    return 1;
  }
  vek_schema_manager_t* manager = plugin.manager_create(argv[3]);
  const long taken = manager ? export_pages(argv[2], manager, pages) : -1;
  if (manager) plugin.manager_destroy(manager);
  fclose(pages);
  if (taken < 0) return 1;
  printf("%ld pages taken\n", taken);
  return 0;
}
