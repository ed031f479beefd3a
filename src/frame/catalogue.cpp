// Message catalogues of the frame: opened for a writer, kept while it needs them.
#include "frame/catalogue.h"

#include <stdio.h>
#include <stdlib.h>

#include "frame/hosting.h"
#include "frame/message.h"
#include "platform/catalogues.h"

// Lives on the plain heap: it stays when the run unit that opened it has gone.
struct QrtCatalogue {
  FILE* file;
  size_t size;
  char bytes[qrt::platform::mostCatalogueBytes + 1];  // what was read, terminated
};

namespace qrt::frame {

char hostAbendText[80] = "";

const char* textProper(const char* catalogued) {
  return platform::textProper(catalogued);
}

const char* catalogueText(const QrtCatalogue* catalogue, uint32_t number, uint32_t variant,
                          const char* otherwise) {
  if (catalogue == nullptr) return otherwise;
  const char* const text = platform::findCatalogueText(catalogue->bytes, catalogue->size, number, variant);
  return text != nullptr ? text : otherwise;
}

}  // namespace qrt::frame

QrtCatalogue* _qrtCatopen(const char* name) {
  using namespace qrt::frame;
  FILE* const file = qrt::platform::openCatalogue(name);
  if (file == nullptr) return nullptr;
  auto* const catalogue = static_cast<QrtCatalogue*>(malloc(sizeof(QrtCatalogue)));
  if (catalogue == nullptr) {
    fclose(file);
    return nullptr;
  }
  catalogue->file = file;
  catalogue->size = fread(catalogue->bytes, 1, qrt::platform::mostCatalogueBytes, file);
  catalogue->bytes[catalogue->size] = 0;
  if (ferror(catalogue->file)) {
    _qrtCatclose(catalogue);
    return nullptr;
  }
  if (hosted())
    snprintf(hostAbendText, sizeof(hostAbendText), "%s",
             textProper(catalogueText(catalogue, message::exitNotice, 1, "")));
  return catalogue;
}

void _qrtCatclose(QrtCatalogue* catalogue) {
  if (catalogue == nullptr) return;
  fclose(catalogue->file);
  free(catalogue);
}
