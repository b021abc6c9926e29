// The window "File localisation" (resource 109, menu 1024): where each
// repertory, keynotes book, personal file, system file and folder of the
// installation is expected, and a way to point each one to another place.
// A choice rewrites the one catalogue record or the one configuration key of
// its row and nothing else. The catalogue is opened by the caller and stays
// open while the window lives; the window closes it.
#pragma once

#include "platform/xvt.h"
#include "store/store.h"

#include <cstdint>

inline constexpr int kLocaliseRes = 109;

enum : int {
  kLocaliseClose = 1,
  kLocaliseItems = 2,
  kLocaliseCategories = 3,
  kLocaliseChange = 4,
  kLocaliseHeading = 5,
};

// Categories of the left list.
inline constexpr int kLocaliseRepertories = 0;
inline constexpr int kLocaliseKeynotes = 1;
inline constexpr int kLocalisePersonal = 2;
inline constexpr int kLocaliseSystem = 3;

// Opens the window on the open catalogue. The repertories and keynotes books
// are listed in the given orders (the chooser's); the window is modeless and
// answers at once. Answers 0, or 1 when the window can't be made (the
// catalogue is then closed and message 23 posted).
int LocaliseOpen(TblHandle catalog, const uint16_t *repertories, int repCount,
                 const uint16_t *keynotes, int keyCount);

// Refills the items list for the selected category and selects its first
// row.
void LocaliseFill(WINDOW win);
// Asks for a new place for the selected row and stores it.
void LocaliseChoose(WINDOW win);

// The window's handler and its template.
long LocaliseEvent(WINDOW win, EVENT *ev);
void LocaliseRegister();
