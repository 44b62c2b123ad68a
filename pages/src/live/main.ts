// The live page.
import { byId, element } from "../shared/dom";

byId("page").replaceChildren(element("h1", {}, "Live projector"));
