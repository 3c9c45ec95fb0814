-- What the readers of the catalogue check, each in words that name file and entry.

local checks = {}

function checks.fail(file, entry, format, ...)
  error(("%s: %s: %s"):format(file, entry, format:format(...)), 0)
end

function checks.keys(file, entry, value, allowed)
  if type(value) ~= "table" then
    checks.fail(file, entry, "a table is wanted, got a %s", type(value))
  end
  for key in pairs(value) do
    if not allowed[key] then
      checks.fail(file, entry, "unknown key '%s'", tostring(key))
    end
  end
end

-- Names become C identifiers. `pattern` narrows how they are spelled.
checks.ANY_NAME, checks.LOWER_NAME, checks.UPPER_NAME = "^[%a_][%w_]*$", "^%l[%l%d_]*$", "^%u[%u%d_]*$"
local KEYWORDS = {}
for word in ([[alignas alignof and asm auto bool break case catch char class concept const constexpr continue decltype
  default delete do double else enum explicit export extern false float for friend goto if inline int long mutable
  namespace new noexcept not nullptr operator or private protected public register requires return short signed sizeof
  static struct switch template this throw true try typedef typename union unsigned using virtual void volatile while
  xor]]):gmatch("%a+") do
  KEYWORDS[word] = true
end

function checks.name(file, entry, name, pattern)
  if type(name) ~= "string" or not name:match(pattern or checks.ANY_NAME) then
    checks.fail(file, entry, "'%s' is no name", tostring(name))
  elseif KEYWORDS[name] then
    checks.fail(file, entry, "'%s' is a word of C++", name)
  end
end

-- A list without holes and other keys: what `ipairs` does not see would be lost in silence.
function checks.list(file, entry, list)
  if type(list) ~= "table" then
    checks.fail(file, entry, "a list is wanted, got a %s", type(list))
  end
  local count = 0
  for key in pairs(list) do
    if type(key) ~= "number" then
      checks.fail(file, entry, "'%s' has no place in a list", tostring(key))
    end
    count = count + 1
  end
  for position = 1, count do
    if list[position] == nil then
      checks.fail(file, entry, "the list has a hole at %d", position)
    end
  end
end

function checks.doc(file, entry, item)
  local text = item.doc
  if text ~= nil and (type(text) ~= "string" or text == "" or text:match("%c")) then
    checks.fail(file, entry, "doc is not one line of text")
  end
end

function checks.number(file, entry, what, value, low, high)
  if type(value) ~= "number" or value % 1 ~= 0 or value < low or value > high then
    checks.fail(file, entry, "%s %s is not a whole number from %d to %d", what, tostring(value), low, high)
  end
end

return checks
