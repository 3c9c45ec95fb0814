/* Nothing: a library of this alone lends its name to what is linked with it, see rovk_ask_for. */
typedef int rovk_nothing;
