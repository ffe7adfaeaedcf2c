// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

namespace tessivar {

/// Makes Qt's windows speak the process's language (TessivarPhrases/Language.h): lays them out in its
/// direction, loads the catalogue of Qt's own texts where it is installed, and has numbers with the digits
/// that everything else has. Once, as soon as there is an application object.
void followLanguage();

} // namespace tessivar
