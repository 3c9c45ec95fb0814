# What whoever owns the project fills in, here alone: every package takes it from this file. The version
# stands in CMakeLists.txt.

# CHOOSE: the licence by its SPDX identifier, and the file with its text (till there is one, this file).
set(ROVK_LICENCE LicenseRef-To-Be-Chosen)
set(ROVK_LICENCE_NAME packaging/fields.cmake)

# CHOOSE: who answers for the packages, and the years and owner of the rights.
set(ROVK_MAINTAINER "To Be Chosen <to-be-chosen@example.org>")
set(ROVK_COPYRIGHT "2026 To Be Chosen")

# CHOOSE: where the source is fetched from, as an archive with one folder rovk_message-VERSION, and its SHA-256.
set(ROVK_SOURCE_FOLDER https://example.org/to-be-chosen)
set(ROVK_SOURCE ${ROVK_SOURCE_FOLDER}/rovk_message-${PROJECT_VERSION}.tar.gz)
set(ROVK_SOURCE_SHA256 0000000000000000000000000000000000000000000000000000000000000000)

# The day of the release, as Debian's changelog writes it.
set(ROVK_RELEASED "Mon, 23 Nov 2026 12:00:00 +0000")
