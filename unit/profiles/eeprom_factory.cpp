#include "unit/profiles/eeprom_factory.h"

#include <rovk/constants.h>

#include <string>

namespace rovk::unit {
namespace {

constexpr uint16_t serial_number_tag = 1;
constexpr uint16_t part_number_tag = 2;
constexpr uint16_t test_date_tag = 1;

}  // namespace

uint32_t factory_eeprom_size(uint8_t location) {
  return location == ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD ? 16'384 : 8'192;
}

EepromContents factory_eeprom(uint8_t location) {
  const std::string serial = "RV-24-0017" + std::to_string(40 + location);
  const char* const test_date = "2024-03-11";
  if (location == ROVK_GPI_LOCATION_MAIN_PROCESSOR_BOARD) {
    return {{{ROVK_EPT_PARTITION_TYPE_PFIX, true, 1024},
             {ROVK_EPT_PARTITION_TYPE_PFRU, true, 1024},
             {ROVK_EPT_PARTITION_TYPE_PSKU, true, 512},
             {ROVK_EPT_PARTITION_TYPE_PQCD, true, 1024},
             {ROVK_EPT_PARTITION_TYPE_PERR, false, 2048},
             {ROVK_EPT_PARTITION_TYPE_P__U, false, 4096},
             {ROVK_EPT_PARTITION_TYPE_P__T, true, 4096}},
            {{ROVK_EPT_PARTITION_TYPE_PFIX, serial_number_tag, serial},
             {ROVK_EPT_PARTITION_TYPE_PFRU, serial_number_tag, serial},
             {ROVK_EPT_PARTITION_TYPE_PFRU, part_number_tag, "RV-PB-2"},
             {ROVK_EPT_PARTITION_TYPE_PQCD, test_date_tag, test_date}}};
  }
  return {{{ROVK_EPT_PARTITION_TYPE_IFIX, true, 512},
           {ROVK_EPT_PARTITION_TYPE_IFRU, true, 512},
           {ROVK_EPT_PARTITION_TYPE_ICAL, true, 1024},
           {ROVK_EPT_PARTITION_TYPE_IQCD, true, 512},
           {ROVK_EPT_PARTITION_TYPE_IERR, false, 1024},
           {ROVK_EPT_PARTITION_TYPE_I__U, false, 2048},
           {ROVK_EPT_PARTITION_TYPE_I__T, true, 1024},
           {ROVK_EPT_PARTITION_TYPE_ICBK, true, 1024}},
          {{ROVK_EPT_PARTITION_TYPE_IFIX, serial_number_tag, serial},
           {ROVK_EPT_PARTITION_TYPE_IFRU, serial_number_tag, serial},
           {ROVK_EPT_PARTITION_TYPE_IFRU, part_number_tag, "RV-IB-4"},
           {ROVK_EPT_PARTITION_TYPE_IQCD, test_date_tag, test_date}}};
}

}  // namespace rovk::unit
