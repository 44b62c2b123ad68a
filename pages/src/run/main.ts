// The page of a run.
import { byId, element } from "../shared/dom";

byId("page").replaceChildren(element("h1", {}, "Run of a projector"));
