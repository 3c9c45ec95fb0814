-- What the terminal's help and the pages say, for every name that there is.

local catalogue = require("rovk_catalogue")
local help = require("rovk.help")
local pages = require("pages")
local styles = require("page_styles")

describe("help", function()
  it("tells each name within the width, and nothing about none", function()
    local seen = {}
    for _, name in ipairs(help.names()) do
      local text = help.text(name, 100)
      assert.is_string(text, name)
      assert.is_falsy(text:find("\1", 1, true) or text:find("nil", 1, true), name)
      for line in text:gmatch("[^\n]+") do
        -- One word alone may be longer than the page.
        assert.is_true(#line <= 100 or not line:match("%S %S"), line)
      end
      seen[#seen + 1] = text
    end
    assert.is_true(#seen > 2000)
  end)

  it("finds what is meant", function()
    for name, wanted in pairs {
      ["led_0001.set_state"] = { "command 33 of led_0001", "led:set_state { on = ..., duty_cycle_on_ms = ...",
        "0 to 65535 ms", "Values: 0 off, 1 on.", "8 invalid_payload" },
      ["led_0001.echo"] = { "command 4 of common", "22 bytes, each 0 to 255" },
      ["rovktrans_led_0001_set_state_async_lua"] = { "command 33 of led_0001" },
      ["rovktrans_button_0002_state_change_unregister_callback_lua"] = { "event 32 of button_0002" },
      ["router_0000.get_route"] = { "router:get_route { index = ... }" },
      ["a_d_converter_0016.get_value"] = { "A device of rovk brings its index" },
      ["calibration_0015.efl_out_of_range"] = { "error 34", "efl_cal_value" },
      ["zoom_deciX"] = { "(unit 0.1 x)" },
      index = { "field in 240 places", "Place in the list of routes" },
      set_state = { "led_0001.set_state, command" },
      LED_FRONT_PANEL_RED = { "ROVK_PERIPHERAL_DEVICE_ID_LED_FRONT_PANEL_RED = 2" },
      ["-110"] = { "ETIMEDOUT" }, etimedout = { "status -110" },
      ROVK_LED_0001_COMMAND_SET_STATE = { "= 33" },
      rovk_message_routing = { "record of 9 bytes", "uuid" },
      rovktrans_init = { "Gives status, context." },
    } do
      local text, message = help.text(name)
      for _, part in ipairs(wanted) do
        assert.is_truthy(text and text:gsub("%s+", " "):find(part, 1, true), ("%s: %s"):format(name, text or message))
      end
    end
    for name, message in pairs {
      ["led_0001.set_stat"] = "there is nothing called 'led_0001.set_stat', did you mean 'led_0001.set_state'?",
      relay = "there is nothing called 'relay' alone; services named after it: relay_0005, relay_0019",
      led_001 = "there is nothing called 'led_001', did you mean 'led_0001'?",
      ["?????????"] = "there is nothing called '?????????'",
    } do
      assert.are.same({ nil, message }, { help.text(name) })
    end
  end)
end)

describe("pages", function()
  it("have all of a service, in both styles", function()
    for _, service in ipairs(catalogue.services) do
      local rst, markdown = pages.service(styles.rst(), service), pages.service(styles.markdown(), service)
      for kind, list in pairs { command = service.commands, event = service.events, error = service.errors } do
        for _, item in ipairs(list) do
          local name = service.name .. "." .. item.name
          assert.is_truthy(rst:find((".. %s:: %s\n"):format(kind, name), 1, true), name)
          assert.is_truthy(markdown:find("\n## " .. name:gsub("_", "\\_") .. "\n", 1, true), name)
          for _, field in ipairs(item.values) do
            local told = ("\n   ``%s`` – %s"):format(field.name, field.type)
            assert.is_truthy(rst:find(told, 1, true), name)
          end
        end
      end
      for class, record in pairs(service.records) do
        assert.is_truthy(rst:find((".. record:: %s\n\n   %d bytes"):format(class, record.size), 1, true), class)
      end
    end
    assert.are.equal("a \\* b\\_ ``c_*`` x_y", styles.rst().text_of("a * b_ `c_*` x_y"))
  end)
end)
